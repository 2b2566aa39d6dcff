#include "hardware/adapter_ports.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "base/paths.h"
#include "hardware/sysfs.h"

namespace {

std::string ClassPath(std::string_view className, std::string_view device) {
    std::string path(paths::kSysClass);
    path.append("/").append(className);
    return device.empty() ? path : path.append("/").append(device);
}

std::optional<std::uint32_t> ReadNumber32(const std::string& path) {
    const std::optional<std::uint64_t> number = sysfs::ReadNumber(path);
    return number && *number < UINT32_MAX ? std::optional(static_cast<std::uint32_t>(*number))
                                          : std::nullopt;
}

// An address of all zeros is that of a device without one.
std::optional<std::string> ReadMacAddress(const std::string& path) {
    std::optional<std::string> text = sysfs::ReadAttribute(path);
    if (text && text->find_first_not_of("0:") == std::string::npos) {
        text.reset();
    }
    return text;
}

// All zeros and all ones are those of a port without one.
std::optional<std::uint64_t> ReadWwn(const std::string& path) {
    const std::optional<std::uint64_t> wwn = sysfs::ReadNumber(path);
    return wwn && *wwn != 0 && *wwn != UINT64_MAX ? wwn : std::nullopt;
}

OnPci<NetworkInterface> ReadInterface(const std::string& name, const std::string& device) {
    OnPci<NetworkInterface> found;
    found.Address = sysfs::FindPciAddress(device);
    NetworkInterface& interface = found.Value;
    interface.Name = name;
    interface.MacAddress = ReadMacAddress(device + "/address");
    const std::optional<std::uint64_t> origin = sysfs::ReadNumber(device + "/addr_assign_type");
    if (interface.MacAddress && origin) {
        interface.IsOwnMacAddress = *origin == 0;  // NET_ADDR_PERM
    }
    interface.State = sysfs::ReadAttribute(device + "/operstate");
    interface.SpeedMbs = ReadNumber32(device + "/speed");
    interface.Driver = sysfs::ReadLink(device + "/device/driver");
    interface.IsVirtual = !sysfs::ResolvePath(device + "/device");
    return found;
}

// The address of a SAS controller: the driver says it, or each of its own phys ("phy-3:0"; those of
// expanders have three numbers).
std::optional<std::uint64_t> ReadSasAddress(std::uint32_t host, const std::string& device) {
    const std::optional<std::uint64_t> address = ReadWwn(device + "/host_sas_address");
    if (address) {
        return address;
    }
    const std::string prefix = "phy-" + std::to_string(host) + ":";
    for (const std::string& phy : sysfs::ListDirectory(ClassPath("sas_phy", ""))) {
        if (phy.starts_with(prefix) && std::count(phy.begin(), phy.end(), ':') == 1) {
            const auto own = ReadWwn(ClassPath("sas_phy", phy) + "/sas_address");
            if (own) {
                return own;
            }
        }
    }
    return std::nullopt;
}

std::optional<OnPci<ScsiHost>> ReadHost(const std::string& name, const std::string& device) {
    constexpr std::string_view kPrefix = "host";
    const auto number = sysfs::ParseNumber(
        std::string_view(name).substr(name.starts_with(kPrefix) ? kPrefix.size() : name.size()));
    if (!number || *number > UINT32_MAX) {
        return std::nullopt;
    }
    OnPci<ScsiHost> found;
    found.Address = sysfs::FindPciAddress(device);
    ScsiHost& host = found.Value;
    host.Number = static_cast<std::uint32_t>(*number);
    host.Driver = sysfs::ReadAttribute(device + "/proc_name");
    const std::string fibreChannel = ClassPath("fc_host", name);
    host.NodeWwn = ReadWwn(fibreChannel + "/node_name");
    host.PortWwn = ReadWwn(fibreChannel + "/port_name");
    host.PortState = sysfs::ReadAttribute(fibreChannel + "/port_state");
    if (!host.NodeWwn) {
        host.NodeWwn = ReadSasAddress(host.Number, device);
    }
    return found;
}

}  // namespace

std::vector<OnPci<NetworkInterface>> ReadNetworkInterfaces() {
    std::vector<OnPci<NetworkInterface>> found;
    for (const std::string& name : sysfs::ListDirectory(ClassPath("net", ""))) {
        const std::optional<std::string> device = sysfs::ResolvePath(ClassPath("net", name));
        if (!device) {
            continue;
        }
        OnPci<NetworkInterface> interface = ReadInterface(name, *device);
        if (sysfs::ResolvePath(*device)) {  // otherwise it went away while it was read
            found.push_back(std::move(interface));
        }
    }
    return found;
}

std::vector<OnPci<ScsiHost>> ReadScsiHosts() {
    std::vector<OnPci<ScsiHost>> found;
    for (const std::string& name : sysfs::ListDirectory(ClassPath("scsi_host", ""))) {
        const std::optional<std::string> device = sysfs::ResolvePath(ClassPath("scsi_host", name));
        std::optional<OnPci<ScsiHost>> host = device ? ReadHost(name, *device) : std::nullopt;
        if (host && sysfs::ResolvePath(*device)) {
            found.push_back(std::move(*host));
        }
    }
    std::sort(found.begin(), found.end(),
              [](const auto& a, const auto& b) { return a.Value.Number < b.Value.Number; });
    return found;
}

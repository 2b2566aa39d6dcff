#include "hardware/drive_place.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <tuple>

#include "hardware/sysfs.h"

namespace drive_place {

namespace {

struct Mark {
    std::string_view Begin;  // of a path component; a digit follows
    const char* Transport;
};
// In this order: a USB bridge has a SCSI host below it, and an FC or SAS host may be virtual.
constexpr Mark kMarks[] = {
    {"usb", "usb"},   {"ata", "sata"},      {"end_device-", "sas"}, {"port-", "sas"},
    {"rport-", "fc"}, {"session", "iscsi"}, {"virtio", "virtio"},   {"vmbus_", "vmbus"},
    {"vbd-", "xen"},  {"mmc", "mmc"},       {"nvme", "nvme"},
};

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool HasComponent(std::string_view path, std::string_view begin) {
    for (std::size_t slash = path.find('/'); slash != std::string_view::npos;
         slash = path.find('/', slash + 1)) {
        const std::string_view component = path.substr(slash + 1);
        if (component.size() > begin.size() && component.starts_with(begin) &&
            IsDigit(component[begin.size()])) {
            return true;
        }
    }
    return false;
}

// A name taken apart for comparison.
using NameKey = std::tuple<std::string_view, std::size_t, std::string_view, std::uint64_t,
                           std::size_t, std::string_view>;
NameKey KeyOf(std::string_view name) {
    constexpr std::size_t kFamily = 2;
    const auto* const digit = std::find_if(name.begin(), name.end(), IsDigit);
    const std::string_view letters = name.substr(0, static_cast<std::size_t>(digit - name.begin()));
    const std::string_view rest = name.substr(letters.size());
    std::uint64_t number = 0;
    (void)std::from_chars(rest.data(), rest.data() + rest.size(), number);
    return {letters.substr(0, kFamily), letters.size(), letters, number, rest.size(), rest};
}

}  // namespace

std::string Transport(std::string_view devicePath) {
    for (const Mark& mark : kMarks) {
        if (HasComponent(devicePath, mark.Begin)) {
            return mark.Transport;
        }
    }
    return {};
}

bool IsNameBefore(std::string_view left, std::string_view right) {
    return KeyOf(left) < KeyOf(right);
}

std::vector<std::string> ReadControllerFolders(const std::string& deviceFolder) {
    std::vector<std::string> folders;
    const std::optional<std::string> folder = sysfs::ResolvePath(deviceFolder);
    if (!folder) {
        return folders;
    }
    if (sysfs::ReadLink(*folder + "/subsystem") != "nvme-subsystem") {
        return {*folder};
    }
    for (const std::string& name : sysfs::ListDirectory(*folder)) {
        const std::string number = name.substr(std::min<std::size_t>(name.size(), 4));
        const bool isController = name.starts_with("nvme") && !number.empty() &&
                                  std::all_of(number.begin(), number.end(), IsDigit);
        const auto controller =
            isController ? sysfs::ResolvePath(*folder + '/' + name) : std::nullopt;
        if (controller) {
            folders.push_back(*controller);
        }
    }
    return folders.empty() ? std::vector{*folder} : folders;
}

std::vector<CPciAddress> HostAddresses(const std::vector<std::string>& folders) {
    std::vector<CPciAddress> addresses;
    for (const std::string& folder : folders) {
        const std::optional<CPciAddress> address = sysfs::FindPciAddress(folder);
        if (address && std::find(addresses.begin(), addresses.end(), *address) == addresses.end()) {
            addresses.push_back(*address);
        }
    }
    return addresses;
}

std::string FindFolderAbove(std::string folder, const char* attribute) {
    while (!folder.empty() && !sysfs::ReadAttribute(folder + '/' + attribute)) {
        const std::size_t slash = folder.rfind('/');
        folder.erase(slash == std::string::npos ? 0 : slash);
    }
    return folder;
}

}  // namespace drive_place

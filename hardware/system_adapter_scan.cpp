// CSystemAdapter: the scan, from the PCI function list and /sys.
#include <algorithm>
#include <cctype>
#include <utility>

#include "base/paths.h"
#include "hardware/sysfs.h"
#include "hardware/system_adapter.h"
#include "trace/debug.h"

namespace {

std::optional<PciSubsystemId> ReadSubsystem(const CPciCommonConfigHeader& header,
                                            const std::string& device) {
    constexpr std::uint16_t kNone = 0xFFFF;
    PciSubsystemId id{header.SubsystemVendorId(), header.SubsystemId()};
    if (header.Layout() != 0) {  // bridges have theirs in a capability, which the kernel reads
        const auto vendor = sysfs::ReadNumber(device + "/subsystem_vendor");
        const auto number = sysfs::ReadNumber(device + "/subsystem_device");
        id = {static_cast<std::uint16_t>(vendor.value_or(0)),
              static_cast<std::uint16_t>(number.value_or(0))};
    }
    return id.Vendor != 0 && id.Vendor != kNone ? std::optional(id) : std::nullopt;
}

PciIdentity Identify(const CPciCommonConfigHeader& header, const std::string& device) {
    return {header.m_VendorId,
            header.m_DeviceId,
            header.m_BaseClass,
            header.m_SubClass,
            header.m_ProgrammingInterface,
            header.m_RevisionId,
            ReadSubsystem(header, device),
            CPciCommonConfigHeader::GetPciBaseClassDescription(header),
            CPciCommonConfigHeader::GetPciSubClassDescription(header)};
}

// Numbers that stand for "not known" or "no link" are absent: 255 lanes, and 0.
PciLink ReadLink(const std::string& device, const char* which) {
    constexpr std::uint64_t kLanesUnknown = 255;
    PciLink link;
    const auto speed = sysfs::ReadAttribute(device + "/" + which + "_link_speed");
    const auto lanes = sysfs::ReadNumber(device + "/" + which + "_link_width");
    if (speed) {
        link.SpeedMts = resources::ParseLinkSpeed(*speed);
    }
    if (lanes && *lanes != 0 && *lanes < kLanesUnknown) {
        link.Lanes = static_cast<std::uint32_t>(*lanes);
    }
    return link;
}

// The messages first, by their numbers; then the line, which a function with messages may have too.
void AddInterrupts(std::vector<ResourceDescriptor>& found, const std::string& device) {
    std::vector<ResourceDescriptor> interrupts;
    for (const std::string& name : sysfs::ListDirectory(device + "/msi_irqs")) {
        const auto number = sysfs::ParseNumber(name);
        if (number) {
            interrupts.push_back(
                {ResourceKind::kIrq, *number, *number, ResourceDescriptor::kMessage});
        }
    }
    std::sort(interrupts.begin(), interrupts.end(),
              [](const auto& a, const auto& b) { return a.First < b.First; });
    const auto line = sysfs::ReadNumber(device + "/irq");
    const bool isNew = std::none_of(interrupts.begin(), interrupts.end(),
                                    [&](const auto& irq) { return irq.First == line; });
    if (line && *line != 0 && isNew) {
        interrupts.push_back({ResourceKind::kIrq, *line, *line, 0});
    }
    found.insert(found.end(), interrupts.begin(), interrupts.end());
}

void ReadDevice(CSystemAdapter& adapter, const std::string& device) {
    constexpr std::uint64_t kNodesMax = 0x10000;
    adapter.m_Driver = sysfs::ReadLink(device + "/driver");
    adapter.m_Module = sysfs::ReadLink(device + "/driver/module");
    const auto node = sysfs::ReadNumber(device + "/numa_node");
    if (node && *node < kNodesMax) {
        adapter.m_NumaNode = static_cast<std::uint32_t>(*node);
    }
    adapter.m_Link = ReadLink(device, "current");
    adapter.m_LinkMax = ReadLink(device, "max");
    const auto ranges = sysfs::ReadAttribute(device + "/resource");
    if (ranges) {
        adapter.m_Resources = resources::ParsePciResources(*ranges);
    }
    AddInterrupts(adapter.m_Resources, device);
}

// The adapter of a function, whose names it fills. Without `hasSysfs` nothing is looked for there.
CSystemAdapter ReadFunction(CPciSlotData& function, CPciNameReader& names,
                            const std::string& device, bool hasSysfs) {
    CSystemAdapter adapter;
    const PciIdentity identity = Identify(function.m_Header, device);
    PciNames found = names.Read(function.m_Header, identity.Subsystem);
    function.m_Name = found.Device.Text;
    function.m_VendorName = found.Vendor.Text;
    adapter.m_DeviceId = CSystemAdapter::MakeDeviceId(identity, function.m_Address);
    adapter.m_Address = function.m_Address;
    adapter.m_Pci = identity;
    adapter.m_Name = std::move(found.Device);
    adapter.m_VendorName = std::move(found.Vendor);
    adapter.m_SubsystemVendorName = std::move(found.SubsystemVendor);
    adapter.m_SubsystemName = std::move(found.Subsystem);
    adapter.m_InterfaceName = std::move(found.Interface);
    adapter.m_SlotNumber = function.m_SlotNumber;
    adapter.m_SlotDesignation = function.m_SlotDesignation;
    adapter.m_SlotReason = function.m_SlotReason;
    if (hasSysfs) {
        ReadDevice(adapter, device);
    }
    return adapter;
}

CSystemAdapter* FindFunction(std::vector<CSystemAdapter>& adapters,
                             const std::optional<CPciAddress>& address) {
    const auto found =
        std::find_if(adapters.begin(), adapters.end(),
                     [&](const CSystemAdapter& adapter) { return adapter.m_Address == address; });
    return found != adapters.end() ? &*found : nullptr;
}

CSystemAdapter MakeInterface(const NetworkInterface& interface,
                             const std::optional<CPciAddress>& address,
                             const CSystemAdapter* function) {
    CSystemAdapter adapter;
    if (function != nullptr) {
        adapter = *function;
        adapter.m_Resources.clear();
        adapter.m_ScsiHosts.clear();
        adapter.m_Name.Text = interface.Name + " (" + adapter.m_Name.Text + ")";
    } else {
        adapter.m_Address = address.value_or(CPciAddress());
        adapter.m_Driver = interface.Driver;
        adapter.m_Name = {interface.Name, PciNameSource::kClassName};
    }
    adapter.m_Kind = CSystemAdapter::EKind::kNetworkInterface;
    adapter.m_DeviceId = interface.Name;
    std::transform(adapter.m_DeviceId.begin(), adapter.m_DeviceId.end(), adapter.m_DeviceId.begin(),
                   [](unsigned char byte) { return static_cast<char>(std::toupper(byte)); });
    adapter.m_Interfaces = {interface};
    return adapter;
}

void AddPorts(std::vector<CSystemAdapter>& adapters, bool withVirtualInterfaces) {
    for (const OnPci<ScsiHost>& host : ReadScsiHosts()) {
        CSystemAdapter* const function = FindFunction(adapters, host.Address);
        if (function != nullptr) {
            function->m_ScsiHosts.push_back(host.Value);
        }
    }
    std::vector<CSystemAdapter> interfaces;
    for (const OnPci<NetworkInterface>& interface : ReadNetworkInterfaces()) {
        CSystemAdapter* const function = FindFunction(adapters, interface.Address);
        if (!interface.Value.IsVirtual || withVirtualInterfaces) {
            interfaces.push_back(MakeInterface(interface.Value, interface.Address, function));
        }
        if (function != nullptr) {
            function->m_Interfaces.push_back(interface.Value);
        }
    }
    std::move(interfaces.begin(), interfaces.end(), std::back_inserter(adapters));
}

}  // namespace

bool CSystemAdapter::ScanSystemAdapters(std::vector<CSystemAdapter>& adapters,
                                        CPciConfigList& pciFunctions, bool withVirtualInterfaces) {
    std::vector<CSystemAdapter> found;
    CPciNameReader names;
    // Without /sys everything is taken from the configuration space.
    const bool hasSysfs = sysfs::ResolvePath(paths::kSysPciDevices).has_value();
    for (auto& [address, function] : pciFunctions) {
        const std::string device = std::string(paths::kSysPciDevices) + "/" + address.ToString();
        CSystemAdapter adapter = ReadFunction(function, names, device, hasSysfs);
        if (hasSysfs && !sysfs::ResolvePath(device)) {
            Debug.Print(2, "\nCSystemAdapter      : PCI device %s (%s) has gone, skipped",
                        address.ToString().c_str(), adapter.m_Name.Text.c_str());
            continue;
        }
        found.push_back(std::move(adapter));
    }
    AddPorts(found, withVirtualInterfaces);
    for (const CSystemAdapter& adapter : found) {
        Debug.Print(3, "\nCSystemAdapter      : Adapter found: %s: %s", adapter.m_DeviceId.c_str(),
                    adapter.m_Name.Text.c_str());
    }
    Debug.Print(2, "\nCSystemAdapter      : %zu adapters found", found.size());
    adapters = std::move(found);
    return !adapters.empty();
}

// Of the description: the adapters.
#include "inventory/describe.h"

namespace inventory {

namespace {

const char* SourceName(PciNameSource source) {
    switch (source) {
    case PciNameSource::kIniFile: return "Adapter.ini";
    case PciNameSource::kPciIds: return "pci.ids";
    case PciNameSource::kClassName: return "class";
    case PciNameSource::kNone: break;
    }
    return nullptr;
}

const char* KindName(ResourceKind kind) {
    switch (kind) {
    case ResourceKind::kIoPorts: return "io";
    case ResourceKind::kMemory: return "memory";
    case ResourceKind::kIrq: return "irq";
    case ResourceKind::kDma: return "dma";
    }
    return "other";
}

void SetIdentity(Json& json, const std::optional<PciIdentity>& pci) {
    const auto id = [](unsigned int number) {
        return Json(HexDigits(number, 4));
    };
    const bool hasSubsystem = pci && pci->Subsystem;
    json["vendor_id"] = pci ? id(pci->VendorId) : Json();
    json["device_id"] = pci ? id(pci->DeviceId) : Json();
    json["subsystem_vendor_id"] = hasSubsystem ? id(pci->Subsystem->Vendor) : Json();
    json["subsystem_id"] = hasSubsystem ? id(pci->Subsystem->Device) : Json();
    json["class"] = pci ? Json(HexDigits(pci->BaseClass, 2) + HexDigits(pci->SubClass, 2) +
                               HexDigits(pci->Interface, 2))
                        : Json();
    json["base_class_name"] = pci ? Json(pci->BaseClassName) : Json();
    json["sub_class_name"] = pci ? Json(pci->SubClassName) : Json();
    json["revision"] = pci ? Json(HexDigits(pci->Revision, 2)) : Json();
}

void SetNames(Json& json, const CSystemAdapter& adapter) {
    const char* const source = SourceName(adapter.m_Name.Source);
    json["name"] = TextOrNull(adapter.m_Name.Text);
    json["name_source"] = source != nullptr ? Json(source) : Json();
    json["vendor_name"] = TextOrNull(adapter.m_VendorName.Text);
    json["subsystem_name"] = TextOrNull(adapter.m_SubsystemName.Text);
    json["interface_name"] = TextOrNull(adapter.m_InterfaceName.Text);
}

Json DescribeLink(const PciLink& link) {
    return {{"speed_mts", NumberOrNull(link.SpeedMts)}, {"lanes", NumberOrNull(link.Lanes)}};
}

Json DescribeResource(const ResourceDescriptor& resource) {
    return {{"kind", KindName(resource.Kind)},
            {"first", HexNumber(resource.First)},
            {"last", HexNumber(resource.Last)},
            {"flags", HexNumber(resource.Flags)}};
}

Json DescribeInterface(const NetworkInterface& interface) {
    return {{"name", TextOrNull(interface.Name)},
            {"mac_address", TextOrNull(interface.MacAddress)},
            {"own_mac_address", NumberOrNull(interface.IsOwnMacAddress)},
            {"state", TextOrNull(interface.State)},
            {"speed_mbs", NumberOrNull(interface.SpeedMbs)},
            {"driver", TextOrNull(interface.Driver)},
            {"virtual", interface.IsVirtual}};
}

Json WwnOrNull(const std::optional<std::uint64_t>& wwn) {
    constexpr int kDigits = 16;
    return wwn ? Json(HexNumber(*wwn, kDigits)) : Json();
}

Json DescribeHost(const ScsiHost& host) {
    return {{"number", host.Number},
            {"driver", TextOrNull(host.Driver)},
            {"node_wwn", WwnOrNull(host.NodeWwn)},
            {"port_wwn", WwnOrNull(host.PortWwn)},
            {"port_state", TextOrNull(host.PortState)}};
}

}  // namespace

Json DescribeAdapter(const CSystemAdapter& adapter) {
    Json json;
    json["id"] = TextOrNull(adapter.m_DeviceId);
    json["kind"] = adapter.IsPciFunction() ? "pci function" : "network interface";
    json["address"] = adapter.m_Address.IsValid() ? Json(adapter.m_Address.ToString()) : Json();
    SetIdentity(json, adapter.m_Pci);
    SetNames(json, adapter);
    json["driver"] = TextOrNull(adapter.m_Driver);
    json["module"] = TextOrNull(adapter.m_Module);
    json["numa_node"] = NumberOrNull(adapter.m_NumaNode);
    json["link"] = DescribeLink(adapter.m_Link);
    json["link_max"] = DescribeLink(adapter.m_LinkMax);
    Json& resources = json["resources"] = Json::array();
    for (const ResourceDescriptor& resource : adapter.m_Resources) {
        resources.push_back(DescribeResource(resource));
    }
    Json& interfaces = json["interfaces"] = Json::array();
    for (const NetworkInterface& interface : adapter.m_Interfaces) {
        interfaces.push_back(DescribeInterface(interface));
    }
    Json& hosts = json["scsi_hosts"] = Json::array();
    for (const ScsiHost& host : adapter.m_ScsiHosts) {
        hosts.push_back(DescribeHost(host));
    }
    json["slot"] =
        adapter.m_SlotNumber == CPciSlotData::kNoSlot ? Json() : Json(adapter.m_SlotNumber);
    json["slot_designation"] = TextOrNull(adapter.m_SlotDesignation);
    json["reason"] = TextOrNull(adapter.m_SlotReason);
    return json;
}

}  // namespace inventory

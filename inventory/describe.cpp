// Of the description: the whole, the firmware, the slots.
#include "inventory/describe.h"

namespace inventory {

namespace {

constexpr struct {
    const char* Name;
    Section Bit;
} kSections[] = {{"slots", kSlots},
                 {"adapters", kAdapters},
                 {"drives", kDrives},
                 {"volumes", kVolumes},
                 {"firmware", kFirmware}};

template <typename Item>
Json DescribeAll(const std::vector<Item>& items, Json (*describe)(const Item&)) {
    Json list = Json::array();
    for (const Item& item : items) {
        list.push_back(describe(item));
    }
    return list;
}

Json DescribeFunction(const CPciSlotData& function) {
    const CPciCommonConfigHeader& header = function.m_Header;
    const bool hasSubsystem = header.Layout() == 0;
    const auto id = [](unsigned int number) {
        return HexDigits(number, 4);
    };
    Json json;
    json["address"] = function.m_Address.ToString();
    json["vendor_id"] = id(header.m_VendorId);
    json["device_id"] = id(header.m_DeviceId);
    json["class"] = HexDigits(header.m_BaseClass, 2) + HexDigits(header.m_SubClass, 2) +
                    HexDigits(header.m_ProgrammingInterface, 2);
    json["revision"] = HexDigits(header.m_RevisionId, 2);
    json["header_type"] = HexDigits(header.m_HeaderType, 2);
    json["subsystem_vendor_id"] = hasSubsystem ? Json(id(header.SubsystemVendorId())) : Json();
    json["subsystem_id"] = hasSubsystem ? Json(id(header.SubsystemId())) : Json();
    json["secondary_bus"] = header.IsBridge() ? Json(HexDigits(header.SecondaryBus(), 2)) : Json();
    json["vendor_name"] = TextOrNull(function.m_VendorName);
    json["name"] = TextOrNull(function.m_Name);
    json["slot"] =
        function.m_SlotNumber == CPciSlotData::kNoSlot ? Json() : Json(function.m_SlotNumber);
    json["slot_designation"] = TextOrNull(function.m_SlotDesignation);
    json["reason"] = TextOrNull(function.m_SlotReason);
    return json;
}

Json DescribeRow(const pci_slots::Row& row) {
    using pci_slots::Source;
    const bool isIrqRow = row.From == Source::kIrqRoutingTable;
    Json json;
    json["slot"] = row.Data.m_Slot;
    json["slot_designation"] = TextOrNull(row.SlotDesignation());
    json["bus"] = HexDigits(row.Data.m_Bus, 2);
    json["device"] = HexDigits(row.Data.m_Device, 2);
    json["slot_type"] = HexDigits(row.Data.m_SlotType, 2);
    json["usage"] = HexDigits(row.Data.m_CurrentUsage, 2);
    json["source"] = isIrqRow ? Json("irq routing table") : Json("smbios");
    json["smbios_type"] = isIrqRow ? Json() : Json(row.Structure.Type);
    json["handle"] = isIrqRow ? Json() : Json(row.Structure.Handle);
    json["unreliable"] =
        !isIrqRow && row.Structure.IsTooShort ? Json("unreliable: structure too short") : Json();
    return json;
}

}  // namespace

std::uint32_t FindSection(std::string_view name) {
    for (const auto& section : kSections) {
        if (name == section.Name) {
            return section.Bit;
        }
    }
    return 0;
}

Json DescribeSlots(const Snapshot& snapshot) {
    Json json;
    Json& functions = json["functions"] = Json::array();
    for (const auto& [address, function] : snapshot.Functions) {
        functions.push_back(DescribeFunction(function));
    }
    json["rows"] = DescribeAll(snapshot.SlotRows, DescribeRow);
    return json;
}

Json DescribeFirmware(const FirmwareReport& firmware) {
    Json json;
    json["smbios"] = Json();
    if (!firmware.IsKnown) {
        json["smbios_reason"] = TextOrNull(firmware.Reason);
        return json;
    }
    json["smbios"] = {
        {"major", firmware.Major}, {"minor", firmware.Minor}, {"complete", firmware.IsComplete}};
    for (const FirmwareText& text : firmware.Texts) {
        json[text.Group][text.Name] = TextOrNull(text.Text);
    }
    return json;
}

Json Describe(const Snapshot& snapshot, std::uint32_t sections) {
    Json json;
    json["version"] = kLayoutVersion;
    Json& gaps = json["unreadable"] = Json::array();
    for (const Gap& gap : snapshot.Gaps) {
        gaps.push_back({{"what", TextOrNull(gap.What)}, {"why", TextOrNull(gap.Why)}});
    }
    if ((sections & kSlots) != 0) {
        json["slots"] = DescribeSlots(snapshot);
    }
    if ((sections & kAdapters) != 0) {
        json["adapters"] = DescribeAll(snapshot.Adapters, DescribeAdapter);
    }
    if ((sections & kDrives) != 0) {
        json["drives"] = DescribeAll(snapshot.Drives, DescribeDrive);
    }
    if ((sections & kVolumes) != 0) {
        json["volumes"] = DescribeAll(snapshot.Volumes, DescribeVolume);
    }
    if ((sections & kFirmware) != 0) {
        json["firmware"] = DescribeFirmware(snapshot.Firmware);
    }
    return json;
}

}  // namespace inventory

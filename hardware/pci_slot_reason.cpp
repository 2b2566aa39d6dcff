#include "hardware/pci_slot_reason.h"

#include <array>
#include <cstdio>

namespace pci_slots {

namespace {

constexpr const char* kTooShort = "unreliable: structure too short";

std::string Hex(unsigned int number, int digits) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%0*x", digits, number);
    return text.data();
}

// In quotes, as one line: control characters become dots, blanks at the end go.
std::string Quoted(std::string text) {
    for (char& c : text) {
        const auto byte = static_cast<unsigned char>(c);
        c = byte < 0x20 || byte == 0x7F ? '.' : c;
    }
    text.erase(text.find_last_not_of(' ') + 1);
    return '"' + text + '"';
}

std::string StructureText(const StructureOrigin& structure) {
    std::string text =
        "SMBIOS type " + std::to_string(structure.Type) + ", handle 0x" + Hex(structure.Handle, 4);
    if (!structure.Designation.empty()) {
        text += ", " + Quoted(structure.Designation);
    }
    return text;
}

std::string PlaceText(const Row& row) {
    const std::string bus = "bus " + Hex(row.Data.m_Bus, 2);
    if (!row.IsSerial()) {
        return bus + " device " + Hex(row.Data.m_Device, 2);
    }
    // Firmware often describes a PCIe slot by the root port's place on bus 0, not by the bus
    // behind that port.
    return row.Data.m_Bus == 0 ? "serial slot described on " + bus + ", so it claims that whole bus"
                               : "serial slot, every device on " + bus;
}

// Where an IRQ row's slot type comes from.
std::string RefinementText(const Row& row) {
    return "; slot type " + Hex(row.Data.m_SlotType, 2) + " from " + StructureText(row.Structure) +
           (row.Structure.IsTooShort ? std::string(", ") + kTooShort : std::string());
}

}  // namespace

bool IsUnreliable(const Row& row) {
    return row.From != Source::kIrqRoutingTable && row.Structure.IsTooShort;
}

std::string ReasonOfRow(const Row& row, const CPciAddress& function, std::size_t rowCount) {
    const bool isIrqRow = row.From == Source::kIrqRoutingTable;
    std::string reason = isIrqRow ? "IRQ routing table" : StructureText(row.Structure);
    reason += ": " + PlaceText(row);
    if (isIrqRow && row.IsRefined) {
        reason += RefinementText(row);
    }
    if (row.Data.m_Slot == 0) {
        reason += "; slot 0 means on the board";
    }
    if (IsUnreliable(row)) {
        reason += std::string("; ") + kTooShort;
    }
    if (rowCount > 1) {
        const bool isInUse = row.Data.m_CurrentUsage == PciSlotData::kUsageInUse;
        reason += std::string(isInUse ? "; first in use of " : "; none in use, first of ") +
                  std::to_string(rowCount) + " rows for this place";
    }
    if (function.m_Segment != 0) {
        reason += "; rows name no segment";
    }
    return reason;
}

std::string ReasonOfBridge(const BridgeSlot& slot, const CPciAddress& function) {
    std::string reason = "inherited from bridge " + slot.Bridge.ToString();
    if (slot.Bridge.m_Segment != function.m_Segment) {
        reason += ", which is in another segment: bridges are known by their bus alone";
    }
    if (slot.IsUnreliable) {
        reason += std::string("; ") + kTooShort;
    }
    return reason;
}

std::string ReasonOfNoSlot(const CPciAddress& function, bool isTableEmpty) {
    const std::string bus = "bus " + Hex(function.m_Bus, 2);
    return "no slot: " + (isTableEmpty
                              ? "the firmware describes none"
                              : "no row for " + bus + " device " + Hex(function.m_Device, 2) +
                                    ", and no bridge with a slot leads to " + bus);
}

}  // namespace pci_slots

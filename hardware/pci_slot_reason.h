// Why a PCI function has its slot, or has none, in one line for people.
#pragma once

#include <string>

#include "hardware/pci_address.h"
#include "hardware/pci_slot_table.h"

namespace pci_slots {

// A slot that everything behind a bridge takes.
struct BridgeSlot {
    std::uint8_t Slot = 0;
    CPciAddress Bridge;
    std::string Designation;
    bool IsUnreliable = false;  // the bridge's slot comes from a structure that is too short
};

// Whether the row's slot number was read from a structure that is too short.
[[nodiscard]] bool IsUnreliable(const Row& row);

// `rowCount`: how many rows are for the function's place, this one included.
[[nodiscard]] std::string ReasonOfRow(const Row& row, const CPciAddress& function,
                                      std::size_t rowCount);
[[nodiscard]] std::string ReasonOfBridge(const BridgeSlot& slot, const CPciAddress& function);
[[nodiscard]] std::string ReasonOfNoSlot(const CPciAddress& function, bool isTableEmpty);

}  // namespace pci_slots

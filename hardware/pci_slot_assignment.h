// Gives the PCI functions of one scan their slots: by the slot table, else by the bridge in front.
#pragma once

#include <cstdint>
#include <map>

#include "hardware/pci_config_list.h"
#include "hardware/pci_slot_map.h"
#include "hardware/pci_slot_reason.h"

// Belongs to one scan. Functions are to be given in the order of their addresses, so that a bridge
// comes before what is behind it.
class CPciSlotAssignment {
public:
    // Sets slot number, designation and reason of a function whose address and header are set.
    void Assign(CPciSlotData& function);

private:
    void AssignByTable(CPciSlotData& function, const pci_slots::Row& row);
    void AssignByBridge(CPciSlotData& function);
    void RecordBridge(const CPciSlotData& function, bool isUnreliable);
    [[nodiscard]] bool IsUnreliable(const CPciSlotData& function, const pci_slots::Row* row) const;

    CPciSlotMap m_SlotMap;
    // Deliberate: by the bus number alone, so that segments share it, and a later bridge to the
    // same bus number replaces an earlier one.
    std::map<std::uint8_t, pci_slots::BridgeSlot> m_BridgeMapping;
};

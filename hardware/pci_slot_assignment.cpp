#include "hardware/pci_slot_assignment.h"

#include "trace/debug.h"

void CPciSlotAssignment::Assign(CPciSlotData& function) {
    const CPciAddress& address = function.m_Address;
    const pci_slots::Row* const row = m_SlotMap.FindRow(address.m_Bus, address.m_Device);
    if (row != nullptr) {
        AssignByTable(function, *row);
    } else {
        AssignByBridge(function);
    }
    if (function.m_Header.IsBridge() && function.m_SlotNumber != CPciSlotData::kNoSlot) {
        RecordBridge(function, IsUnreliable(function, row));
    }
}

void CPciSlotAssignment::AssignByTable(CPciSlotData& function, const pci_slots::Row& row) {
    const CPciAddress& address = function.m_Address;
    function.m_SlotNumber = row.Data.m_Slot;
    function.m_SlotDesignation = row.SlotDesignation();
    function.m_SlotReason = pci_slots::ReasonOfRow(
        row, address, pci_slots::CountRows(m_SlotMap.GetRows(), address.m_Bus, address.m_Device));
}

void CPciSlotAssignment::AssignByBridge(CPciSlotData& function) {
    const CPciAddress& address = function.m_Address;
    Debug.Print(4,
                "\nCPciConfigList      : Pci device %d at bus %d not found in BIOS routing table - "
                "look up bridge mapping",
                address.m_Device, address.m_Bus);
    const auto bridge = m_BridgeMapping.find(address.m_Bus);
    if (bridge == m_BridgeMapping.end()) {
        Debug.Print(4, "\nCPciConfigList      : No entry found in PCI bridge mapping table!");
        function.m_SlotNumber = CPciSlotData::kNoSlot;
        function.m_SlotReason = pci_slots::ReasonOfNoSlot(address, m_SlotMap.GetRows().empty());
        Debug.Print(3, "\nCPciConfigList      :    Slot          : N/A");
        return;
    }
    function.m_SlotNumber = bridge->second.Slot;
    function.m_SlotDesignation = bridge->second.Designation;
    function.m_SlotReason = pci_slots::ReasonOfBridge(bridge->second, address);
    Debug.Print(4, "\nCPciConfigList      : Pci bridge device at slot %d created bus no %d",
                function.m_SlotNumber, address.m_Bus);
}

// Whether the slot is unreliable by its row, or by the row of the bridge that it comes from.
bool CPciSlotAssignment::IsUnreliable(const CPciSlotData& function,
                                      const pci_slots::Row* row) const {
    if (row != nullptr) {
        return pci_slots::IsUnreliable(*row);
    }
    const auto bridge = m_BridgeMapping.find(function.m_Address.m_Bus);
    return bridge != m_BridgeMapping.end() && bridge->second.IsUnreliable;
}

void CPciSlotAssignment::RecordBridge(const CPciSlotData& function, bool isUnreliable) {
    const std::uint8_t secondaryBus = function.m_Header.SecondaryBus();
    Debug.Print(4, "\nCPciConfigList      :    Brigde device:  Primary bus index  : %d",
                function.m_Header.PrimaryBus());
    Debug.Print(4, "\nCPciConfigList      :    Secondary bus index: %d", secondaryBus);
    m_BridgeMapping[secondaryBus] = {static_cast<std::uint8_t>(function.m_SlotNumber),
                                     function.m_Address, function.m_SlotDesignation, isUnreliable};
}

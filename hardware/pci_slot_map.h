// The slot table of the machine: in which slot sits the device at a PCI address?
//
// The rows come from the PCI IRQ routing table, with slot types refined from SMBIOS, or from SMBIOS
// alone when there is no such table. How rows are made and searched: pci_slot_table.h.
#pragma once

#include <vector>

#include "base/export.h"
#include "hardware/pci_slot_table.h"

// Belongs to one thread at a time. The table is built by the first search and kept, also when it
// is empty.
class MORLA_API CPciSlotMap {
public:
    // Sets `slot` to the slot of a device, or to 0. False when no row is for it. Deliberate:
    // segment and function take no part in the match.
    [[nodiscard]] bool GetPciSlotNumber(unsigned char& slot, unsigned int bus, unsigned int device,
                                        unsigned int segment, unsigned int function);
    // The row that gives the slot; null when there is none. Valid as long as the map.
    [[nodiscard]] const pci_slots::Row* FindRow(unsigned int bus, unsigned int device);
    // The table as far as it is built.
    [[nodiscard]] const std::vector<pci_slots::Row>& GetRows() const { return m_Rows; }

    // The rows of one source, read anew.
    [[nodiscard]] static std::vector<PciSlotData> GetSlotMappingFromIrqRoutingTable();
    [[nodiscard]] static std::vector<PciSlotData> GetSlotMappingFromSMBIOS();

private:
    void GetSlotMapping();

    std::vector<pci_slots::Row> m_Rows;
    bool m_IsBuilt = false;
};

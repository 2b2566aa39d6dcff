// The slot table: the firmware's rows, each with where it comes from, and the search in it.
//
// Everything here works on tables in memory and touches no system. Who finds the tables:
// pci_slot_map.h. What the origins say to people: pci_slot_reason.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "hardware/irq_routing_table.h"
#include "hardware/pci_slot_row.h"
#include "hardware/smbios.h"

namespace pci_slots {

enum class Source { kIrqRoutingTable, kSystemSlot, kOnboardDevice };

// The SMBIOS structure that a row, or a row's slot type, was read from.
struct StructureOrigin {
    std::uint8_t Type = 0;
    std::uint16_t Handle = 0;
    std::uint8_t Slot = 0;    // the number that it gives
    std::string Designation;  // the firmware's bytes; empty when it gives none
    // The structure is shorter than the offsets that were read: some of the row's bytes are
    // something else, mostly text.
    bool IsTooShort = false;
};

struct Row {
    PciSlotData Data;
    Source From = Source::kIrqRoutingTable;
    StructureOrigin Structure;  // of an IRQ row: what gave its slot type
    bool IsRefined = false;     // an IRQ row whose slot type comes from a structure

    // Does not trace.
    [[nodiscard]] bool IsSerial() const {
        return FindPciSlotKind(Data.m_SlotType) != PciSlotKind::kParallel;
    }
    // What the firmware calls the slot; empty when that is not known, as for an IRQ row when the
    // structure for its place gives another number.
    [[nodiscard]] std::string SlotDesignation() const {
        return Structure.Slot == Data.m_Slot ? Structure.Designation : std::string();
    }
};

[[nodiscard]] std::vector<Row> RowsOfRoutingTable(const std::vector<IrqRoutingEntry>& entries);
// Type 9, then type 41, both in the table's order. A structure that lacks one of the bytes because
// the whole table ends is skipped.
[[nodiscard]] std::vector<Row> RowsOfSmbios(const CSMBios& smbios);

// Takes over the slot types, and nothing else, of the SMBIOS rows for the same places.
void UpdateSlotTypes(std::vector<Row>& rows, const std::vector<Row>& smbiosRows);

// The row for a device: the first one in use, else the first one. Null when there is none.
[[nodiscard]] const Row* FindRow(const std::vector<Row>& rows, unsigned int bus,
                                 unsigned int device);

// The number of rows for a device. Does not trace.
[[nodiscard]] std::size_t CountRows(const std::vector<Row>& rows, unsigned int bus,
                                    unsigned int device);

}  // namespace pci_slots

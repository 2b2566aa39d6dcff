// The slot table: rows of the IRQ routing table, refinement, search.
#include "hardware/pci_slot_table.h"

#include <algorithm>

#include "trace/debug.h"

namespace pci_slots {

namespace {

constexpr unsigned int kDeviceShift = 3;  // a device above its function, in one byte

bool IsMatch(const PciSlotData& row, unsigned int bus, unsigned int device) {
    return row.m_Bus == bus && (row.IsSerialBus() || row.m_Device == device);
}

const Row* FindFirst(const std::vector<Row>& rows, unsigned int bus, unsigned int device,
                     bool onlyInUse) {
    for (const Row& row : rows) {
        if (Debug.IsLevelActive(5)) {
            Debug.Print(5, "\nCPciSlotMap::GetPciSlotNumber() : Check %s",
                        row.Data.ToString().c_str());
        }
        if (IsMatch(row.Data, bus, device) &&
            (!onlyInUse || row.Data.m_CurrentUsage == PciSlotData::kUsageInUse)) {
            return &row;
        }
    }
    return nullptr;
}

void TraceRow(const Row& row) {
    if (Debug.IsLevelActive(4)) {
        Debug.Print(4, "\n\t%s", row.Data.ToString().c_str());
    }
}

}  // namespace

std::vector<Row> RowsOfRoutingTable(const std::vector<IrqRoutingEntry>& entries) {
    std::vector<Row> rows;
    for (const IrqRoutingEntry& entry : entries) {
        Row row;
        row.Data.m_Bus = entry.Bus;
        row.Data.m_Device = static_cast<std::uint8_t>(entry.DeviceFunction >> kDeviceShift);
        row.Data.m_Slot = entry.Slot;
        if (Debug.IsLevelActive(3)) {
            Debug.Print(3, "\nCPciSlotMap::GetSlotMappingFromIrqRoutingTable(): Add device - %s.",
                        row.Data.ToString().c_str());
        }
        rows.push_back(row);
    }
    return rows;
}

void UpdateSlotTypes(std::vector<Row>& rows, const std::vector<Row>& smbiosRows) {
    Debug.Print(4,
                "\nCPciSlotMap::UpdateSlotTypeFromSMBios(): Updating IRQ slot type using data from "
                "SMBios.\n");
    for (Row& row : rows) {
        const auto found =
            std::find_if(smbiosRows.begin(), smbiosRows.end(),
                         [&row](const Row& smbiosRow) { return smbiosRow.Data == row.Data; });
        if (found != smbiosRows.end()) {
            row.Data.m_SlotType = found->Data.m_SlotType;
            row.Structure = found->Structure;
            row.IsRefined = true;
            Debug.Print(4, "\nCPciSlotMap::UpdateSlotTypeFromSMBios(): Updated slot type:");
        } else {
            Debug.Print(4,
                        "\nCPciSlotMap::UpdateSlotTypeFromSMBios(): Could not match with any "
                        "SMBios entry:");
        }
        TraceRow(row);
    }
    Debug.Print(5, "\nCPciSlotMap::UpdateSlotTypeFromSMBios(): Done.\n");
}

const Row* FindRow(const std::vector<Row>& rows, unsigned int bus, unsigned int device) {
    Debug.Print(5,
                "\nCPciSlotMap::GetPciSlotNumber() : Searching PCI slot table for bus '%x' device "
                "'%x'",
                bus, device);
    const Row* row = FindFirst(rows, bus, device, true);
    if (row == nullptr) {
        row = FindFirst(rows, bus, device, false);
    }
    if (row != nullptr) {
        Debug.Print(3, "\nCPciSlotMap::GetPciSlotNumber() : Found PCI Slot for this device - %d",
                    row->Data.m_Slot);
    }
    return row;
}

std::size_t CountRows(const std::vector<Row>& rows, unsigned int bus, unsigned int device) {
    const auto count = std::count_if(rows.begin(), rows.end(), [bus, device](const Row& row) {
        return row.Data.m_Bus == bus && (row.IsSerial() || row.Data.m_Device == device);
    });
    return static_cast<std::size_t>(count);
}

}  // namespace pci_slots

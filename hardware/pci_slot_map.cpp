#include "hardware/pci_slot_map.h"

#include "hardware/device_bios.h"
#include "hardware/smbios.h"
#include "trace/debug.h"

namespace {

using pci_slots::Row;

std::vector<PciSlotData> DataOf(const std::vector<Row>& rows) {
    std::vector<PciSlotData> data;
    data.reserve(rows.size());
    for (const Row& row : rows) {
        data.push_back(row.Data);
    }
    return data;
}

std::vector<Row> ReadIrqRows() {
    Debug.Print(4,
                "\nCPciSlotMap::GetSlotMappingFromIrqRoutingTable(): Attempt to get Slot Mapping "
                "from IRQ Routing Table.\n");
    CDeviceBios bios;
    bios.Connect();
    const std::vector<IrqRoutingEntry> entries = bios.GetRoutingTable();
    bios.Disconnect();
    if (entries.empty()) {
        Debug.Print(
            1,
            "\nCPciSlotMap::GetSlotMappingFromIrqRoutingTable(): ERROR ## Empty IRQ Routing "
            "Table.\n");
    }
    std::vector<Row> rows = pci_slots::RowsOfRoutingTable(entries);
    if (rows.empty()) {
        Debug.Print(1,
                    "\nCPciSlotMap::GetSlotMappingFromIrqRoutingTable(): ERROR ## No slot data in "
                    "IRQ Routing Table!\n");
    } else {
        Debug.Print(
            4,
            "\nCPciSlotMap::GetSlotMappingFromIrqRoutingTable(): Success! Gathered %u slots "
            "from IRQ Routing Table\n",
            static_cast<unsigned int>(rows.size()));
    }
    return rows;
}

std::vector<Row> ReadSmbiosRows() {
    Debug.Print(
        4,
        "\nCPciSlotMap::GetSlotMappingFromSMBIOS(): Attempt to get Slot Mapping from SMBIOS "
        "data.\n");
    CSMBios smbios;
    if (!smbios.Connect()) {
        Debug.Print(
            1, "\nCPciSlotMap::GetSlotMappingFromSMBIOS(): ERROR ## cannot connect to SMBios!\n");
        return {};
    }
    std::vector<Row> rows = pci_slots::RowsOfSmbios(smbios);
    smbios.Disconnect();
    if (rows.empty()) {
        Debug.Print(
            1, "\nCPciSlotMap::GetSlotMappingFromSMBIOS(): ERROR ## No slot data in SMBios!\n");
    } else {
        Debug.Print(4,
                    "\nCPciSlotMap::GetSlotMappingFromSMBIOS(): Success! Gathered %u slots from "
                    "SMBios\n",
                    static_cast<unsigned int>(rows.size()));
    }
    return rows;
}

}  // namespace

std::vector<PciSlotData> CPciSlotMap::GetSlotMappingFromIrqRoutingTable() {
    return DataOf(ReadIrqRows());
}

std::vector<PciSlotData> CPciSlotMap::GetSlotMappingFromSMBIOS() {
    return DataOf(ReadSmbiosRows());
}

void CPciSlotMap::GetSlotMapping() {
    std::vector<Row> irqRows = ReadIrqRows();
    std::vector<Row> smbiosRows = ReadSmbiosRows();
    if (!irqRows.empty()) {
        Debug.Print(4, "\nCPciSlotMap::GetSlotMapping(): Using slot data from IRQ.\n");
        if (!smbiosRows.empty()) {
            pci_slots::UpdateSlotTypes(irqRows, smbiosRows);
        }
        m_Rows = std::move(irqRows);
    } else if (!smbiosRows.empty()) {
        Debug.Print(4, "\nCPciSlotMap::GetSlotMapping(): Using slot data from SMBios.\n");
        m_Rows = std::move(smbiosRows);
    } else {
        Debug.Print(
            1, "\nCPciSlotMap::GetSlotMapping(): ERROR # No slot data found on this machine!\n");
    }
    m_IsBuilt = true;
}

const Row* CPciSlotMap::FindRow(unsigned int bus, unsigned int device) {
    if (!m_IsBuilt) {
        GetSlotMapping();
    }
    if (m_Rows.empty()) {
        Debug.Print(
            1, "\nCPciSlotMap::GetPciSlotNumber() : ERROR ## Could not retrieve slot mapping.");
        return nullptr;
    }
    return pci_slots::FindRow(m_Rows, bus, device);
}

bool CPciSlotMap::GetPciSlotNumber(unsigned char& slot, unsigned int bus, unsigned int device,
                                   unsigned int /*segment*/, unsigned int /*function*/) {
    slot = 0;
    const Row* const row = FindRow(bus, device);
    if (row == nullptr) {
        return false;
    }
    slot = row->Data.m_Slot;
    return true;
}

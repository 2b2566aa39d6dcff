// The slot table that comes from an SMBIOS structure table, against a plain second reading, and
// the search in it.
//
// Input: the structure table.
#include <algorithm>
#include <vector>

#include "fuzz/input.h"
#include "hardware/pci_slot_reason.h"
#include "hardware/pci_slot_table.h"

namespace {

using pci_slots::Row;

// The rows by offsets in the table, without the connection's readers.
std::vector<PciSlotData> RowsPlainly(const CSMBios& smbios) {
    const unsigned char* const begin = smbios.GetData().Data();
    const unsigned char* const end = begin + smbios.GetData().Size();
    std::vector<PciSlotData> rows;
    for (const std::uint8_t type : {std::uint8_t{9}, std::uint8_t{41}}) {
        const std::size_t last = type == 9 ? 0x10 : 0x0A;
        const CSMBios::StructureList& list = smbios.GetStructures(type);
        for (std::size_t i = 0; i < list.size() % 256; ++i) {
            const auto* const s = reinterpret_cast<const unsigned char*>(list[i]);
            const auto room = static_cast<std::size_t>(end - s);
            if (room <= last || (type == 9 && (s[0x0F] == 0xFF || s[0x07] == 5))) {
                continue;
            }
            rows.push_back(type == 9 ? PciSlotData{s[0x0F], std::uint8_t(s[0x10] / 8), s[0x09],
                                                   s[0x05], s[0x07]}
                                     : PciSlotData{s[0x09], std::uint8_t(s[0x0A] / 8), 0, 2, 2});
        }
    }
    return rows;
}

bool IsSerialPlainly(std::uint8_t type) {
    return (type >= 0xA5 && type <= 0xB6) || (type >= 0x14 && type <= 0x23);
}

bool IsSame(const PciSlotData& a, const PciSlotData& b) {
    return a.m_Bus == b.m_Bus && a.m_Device == b.m_Device && a.m_Slot == b.m_Slot &&
           a.m_SlotType == b.m_SlotType && a.m_CurrentUsage == b.m_CurrentUsage;
}

void CheckSearch(const std::vector<Row>& rows, std::uint8_t bus, std::uint8_t device) {
    const Row* first = nullptr;
    const Row* firstInUse = nullptr;
    for (const Row& row : rows) {
        if (row.Data.m_Bus == bus &&
            (IsSerialPlainly(row.Data.m_SlotType) || row.Data.m_Device == device)) {
            first = first != nullptr ? first : &row;
            firstInUse = firstInUse == nullptr && row.Data.m_CurrentUsage == 4 ? &row : firstInUse;
        }
    }
    const Row* const found = pci_slots::FindRow(rows, bus, device);
    fuzz::Require(found == (firstInUse != nullptr ? firstInUse : first), "the right row is found");
    if (found != nullptr) {
        const std::string reason = pci_slots::ReasonOfRow(*found, CPciAddress(0, bus, device, 0),
                                                          pci_slots::CountRows(rows, bus, device));
        fuzz::Require(std::none_of(reason.begin(), reason.end(),
                                   [](char c) { return (c >= 0 && c < ' ') || c == 0x7F; }),
                      "a reason is one line");
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CSMBios smbios;
    (void)smbios.ConnectCopy(CDataStream(), CDataStream(data, size));
    const std::vector<Row> rows = pci_slots::RowsOfSmbios(smbios);
    const std::vector<PciSlotData> plain = RowsPlainly(smbios);
    fuzz::Require(std::equal(rows.begin(), rows.end(), plain.begin(), plain.end(),
                             [](const Row& row, const PciSlotData& other) {
                                 return IsSame(row.Data, other);
                             }),
                  "the rows are the same");
    for (std::size_t i = 0; i < std::min<std::size_t>(rows.size(), 16); ++i) {
        CheckSearch(rows, rows[i].Data.m_Bus, rows[i].Data.m_Device);
        CheckSearch(rows, rows[i].Data.m_Bus, 31);
    }
    std::vector<Row> refined = rows;
    pci_slots::UpdateSlotTypes(refined, rows);
    fuzz::Require(refined.size() == rows.size(), "refining keeps the rows");
    return 0;
}

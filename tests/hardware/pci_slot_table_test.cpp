// The slot table: rows of the IRQ routing table and of SMBIOS structures, refinement, search.
#include <sstream>
#include <utility>

#include <gtest/gtest.h>

#include "hardware/pci_bus_names.h"
#include "hardware/pci_common_config_header.h"
#include "hardware/pci_slot_reason.h"
#include "tests/hardware/pci_bytes.h"
#include "tests/hardware/smbios_bytes.h"

namespace {

using namespace std::string_literals;
using irq_routing::Result;
using pci_bytes::RoutingTable;
using pci_bytes::SystemSlot;
using pci_slots::Row;
using pci_slots::Source;
using smbios_bytes::Repeat;
using smbios_bytes::Structure;

Row MakeRow(const PciSlotData& data) {
    Row row;
    row.Data = data;
    return row;
}

std::vector<Row> RowsOf(const std::string& table) {
    CSMBios smbios;
    EXPECT_TRUE(smbios.ConnectCopy(CDataStream(), smbios_bytes::Stream(table)));
    return pci_slots::RowsOfSmbios(smbios);
}

TEST(IrqRoutingTable, IsTakenOnlyWhenItIsSound) {
    const std::string one = RoutingTable({{0, 0x28, {}, 3, 0}});
    std::string uneven = one;
    uneven[6] = 40;
    std::string badSum = one;
    ++badSum[40];
    std::string newMajor = one;
    newMajor[5] = 11;
    const std::string space(64, '\0');
    const struct {
        std::string Range;
        Result Expected;
        std::size_t Entries;
    } rows[] = {
        {space + one + space, Result::kFound, 1},
        {RoutingTable({}) + space, Result::kFound, 0},
        {pci_bytes::WithSize(one, 16) + space, Result::kFound, 0},
        {"        " + one + space, Result::kNotFound, 0},
        {pci_bytes::WithSize(one, 0) + space, Result::kIllegalSize, 0},
        {one + std::string(31, '\0'), Result::kIllegalSize, 0},
        {one + std::string(32, '\0'), Result::kFound, 1},
        {space + "$PIR", Result::kIllegalSize, 0},
        {uneven + space, Result::kUnevenSize, 0},
        {newMajor + space, Result::kIllegalVersion, 0},
        {badSum + space + one + space, Result::kIllegalChecksum, 0},
    };
    for (const auto& row : rows) {
        irq_routing::Table table;
        EXPECT_EQ(irq_routing::Parse(CByteView(row.Range), table), row.Expected);
        EXPECT_EQ(table.Entries.size(), row.Entries);
    }
}

TEST(SlotRow, IsSerialByItsTypeCode) {
    std::string serial;
    for (unsigned int type = 0; type < 256; ++type) {
        if (FindPciSlotKind(static_cast<std::uint8_t>(type)) != PciSlotKind::kParallel) {
            serial += static_cast<char>(type);
        }
    }
    EXPECT_EQ(serial,
              "\x14\x15\x16\x17\x18\x19\x1a\x1b\x1c\x1d\x1e\x1f\x20\x21\x22\x23"
              "\xa5\xa6\xa7\xa8\xa9\xaa\xab\xac\xad\xae\xaf\xb0\xb1\xb2\xb3\xb4\xb5\xb6"s);
    EXPECT_EQ((PciSlotData{0x3B, 0x1F, 12, 0xA5, 4}).ToString(),
              "PciSlotData 3b:1f.** --> Slot 12 (Serial bus)");
    EXPECT_EQ((PciSlotData{0, 1, 0, 2, 2}).ToString(),
              "PciSlotData 0:1.** --> Slot 0 (Unknown bus type)");
}

TEST(SlotRows, ComeFromSystemSlotsAndOnboardDevices) {
    std::string onboard = Structure(41, 11, 0x29, {"LAN"});
    onboard.replace(4, 7, "\x01\x85\x01\0\0\x02\x08"s);
    const std::vector<Row> rows =
        RowsOf(onboard + SystemSlot({0x3B, 0, 5, 0xA5, 3}) + SystemSlot({0xFF, 0, 6, 0xA5, 4}) +
               SystemSlot({0x3C, 0, 7, 0xA5, 5}) + SystemSlot({0x3D, 9, 8, 0x06, 4}, 13) +
               SystemSlot({0, 0, 0, 6, 4}, 13).substr(0, 13) + "\0\0"s);
    ASSERT_EQ(rows.size(), 3U);  // the last structure has no byte 0x0F any more
    EXPECT_EQ(rows[0].Data.ToString(), "PciSlotData 3b:0.** --> Slot 5 (Serial bus)");
    EXPECT_EQ(rows[0].SlotDesignation(), "PCIE");
    EXPECT_FALSE(rows[0].Structure.IsTooShort);
    EXPECT_EQ(rows[1].Data.ToString(), "PciSlotData 49:8.** --> Slot 8 (Parallel bus)");  // "PCIE"
    EXPECT_TRUE(rows[1].Structure.IsTooShort);
    EXPECT_EQ(rows[2].Data.ToString(), "PciSlotData 2:1.** --> Slot 0 (Unknown bus type)");
    EXPECT_EQ(
        pci_slots::ReasonOfRow(rows[2], CPciAddress(1, 2, 1, 0), 1),
        "SMBIOS type 41, handle 0x0029, \"LAN\": bus 02 device 01; slot 0 means on the board; "
        "rows name no segment");
}

TEST(SlotRows, AreCountedInEightBits) {
    const std::string slot = SystemSlot({1, 0, 1, 6, 4});
    EXPECT_EQ(RowsOf(Repeat(slot, 255)).size(), 255U);
    EXPECT_EQ(RowsOf(Repeat(slot, 256)).size(), 0U);
    EXPECT_EQ(RowsOf(Repeat(slot, 257)).size(), 1U);
}

TEST(SlotTable, PrefersARowInUseAndLetsSerialSlotsHaveTheirBus) {
    const std::vector<Row> rows = {
        MakeRow({1, 0, 10, 6, 3}),    MakeRow({1, 0, 11, 6, 4}),    MakeRow({2, 0, 12, 0xA5, 3}),
        MakeRow({2, 0, 13, 0xA5, 2}), MakeRow({3, 0, 14, 0xB7, 4}),
    };
    const struct {
        unsigned int Bus, Device;
        int Slot;
    } cases[] = {{1, 0, 11}, {1, 1, -1}, {2, 0, 12},    {2, 31, 12},
                 {3, 0, 14}, {3, 1, -1}, {0x101, 0, -1}};
    for (const auto& c : cases) {
        const Row* const row = pci_slots::FindRow(rows, c.Bus, c.Device);
        EXPECT_EQ(row != nullptr ? row->Data.m_Slot : -1, c.Slot) << c.Bus << ':' << c.Device;
    }
}

TEST(SlotTable, TakesOverTheSlotTypeAlone) {
    std::vector<Row> rows = {MakeRow({2, 7, 1, 2, 2}), MakeRow({3, 7, 2, 2, 2})};
    // Serial by the SMBIOS row: that one is for every device of its bus.
    pci_slots::UpdateSlotTypes(rows, {MakeRow({2, 0, 9, 0xA5, 4}), MakeRow({3, 0, 9, 6, 4})});
    EXPECT_EQ(rows[0].Data.ToString(), "PciSlotData 2:7.** --> Slot 1 (Serial bus)");
    EXPECT_EQ(rows[0].Data.m_CurrentUsage, PciSlotData::kUsageUnknown);
    EXPECT_EQ(rows[1].Data.m_SlotType, PciSlotData::kTypeUnknown);
}

TEST(SlotReason, TellsWhatToDoubt) {
    Row row = MakeRow({0, 3, 4, 6, 3});
    EXPECT_EQ(pci_slots::ReasonOfRow(row, CPciAddress(0, 0, 3, 0), 1),
              "IRQ routing table: bus 00 device 03");
    row.IsRefined = true;
    row.Data.m_SlotType = 0xA5;
    row.Structure = {9, 0x1F, 4, "a\x1b\x7fz ", true};
    EXPECT_EQ(pci_slots::ReasonOfRow(row, CPciAddress(0, 0, 3, 0), 2),
              "IRQ routing table: serial slot described on bus 00, so it claims that whole bus; "
              "slot type a5 from SMBIOS type 9, handle 0x001f, \"a..z\", unreliable: structure too "
              "short; none in use, first of 2 rows for this place");
    EXPECT_FALSE(pci_slots::IsUnreliable(row));  // its number is the IRQ row's own
    row.From = Source::kSystemSlot;
    row.Structure.Designation.clear();
    EXPECT_EQ(pci_slots::ReasonOfRow(row, CPciAddress(0, 0, 3, 0), 1),
              "SMBIOS type 9, handle 0x001f: serial slot described on bus 00, so it claims that "
              "whole bus; unreliable: structure too short");
    EXPECT_EQ(
        pci_slots::ReasonOfBridge({5, CPciAddress(0, 0, 1, 0), "", true}, CPciAddress(0, 1, 0, 0)),
        "inherited from bridge 0000:00:01.0; unreliable: structure too short");
    EXPECT_EQ(pci_slots::ReasonOfNoSlot(CPciAddress(0, 1, 0, 0), true),
              "no slot: the firmware describes none");
}

TEST(PciBusNames, AreTakenOnlyWhole) {
    for (const char* const name : {"0", "000", "0g", "..", "0x", "000:00", "0000:0", "0000:000",
                                   "0000:00:", "123456789:00", "+000:00", "-1", ""}) {
        EXPECT_FALSE(pci_bus_names::ParseBus(name)) << name;
    }
    EXPECT_EQ(pci_bus_names::ParseBus("fF").value().Number, 0xFF);
    EXPECT_EQ(pci_bus_names::ParseBus("10000:02").value().Domain, 0x10000U);
    for (const char* const name : {"20.0", "00.8", "0.0", "00.00", "00:0", "1f.", "-1.0"}) {
        EXPECT_FALSE(pci_bus_names::ParseDevice(name)) << name;
    }
    EXPECT_EQ(pci_bus_names::ParseDevice("1f.7").value().Number, 31);
}

TEST(PciAddress, IsReadFromItsTextAndNoOther) {
    for (const char* const text : {"0000:00:00.0", "ffff:ff:1f.7", "0001:0a:10.3"}) {
        EXPECT_EQ(CPciAddress::Parse(text).value().ToString(), text);
    }
    EXPECT_EQ(CPciAddress::Parse("0000ABcd:0A:00.0"), CPciAddress(0xABCD, 10, 0, 0));
    for (const char* const text :
         {"0000:00:20.0", "0000:00:00.8", "00010000:00:00.0", "000:00:00.0", "0000:0:00.0",
          "0000:00:0.0", "0000:00:00.00", "0000:00:00.", "0000:00:00", "0000:00-00.0",
          "000000000:00:00.0", "0000:00:00.0 ", " 0000:00:00.0", "0000:g0:00.0", ""}) {
        EXPECT_FALSE(CPciAddress::Parse(text)) << text;
    }
    EXPECT_LT(CPciAddress(0, 1, 2, 3), CPciAddress(0, 1, 3, 0));
    EXPECT_FALSE(CPciAddress(0, 1, 2, 3) < CPciAddress(0, 1, 2, 3));
}

// "1/0.1": sub-class 1, with names of their own for the programming interfaces 0 and 1.
std::string NamedSubClasses(unsigned int baseClass) {
    CPciCommonConfigHeader header;
    header.m_BaseClass = static_cast<std::uint8_t>(baseClass);
    const auto name = [&header](int subClass, int interface) {
        header.m_SubClass = static_cast<std::uint8_t>(subClass);
        header.m_ProgrammingInterface = static_cast<std::uint8_t>(interface);
        return std::string(CPciCommonConfigHeader::GetPciSubClassDescription(header));
    };
    std::ostringstream text;
    text << std::hex << baseClass << ':';
    for (int subClass = 0; subClass < 256; ++subClass) {
        const std::string usual = name(subClass, 0xFF);
        if (usual != "Unknown") {
            text << ' ' << subClass;
        }
        const char* separator = "/";
        for (int interface = 0; interface < 255; ++interface) {
            if (name(subClass, interface) != usual) {
                text << std::exchange(separator, ".") << interface;
            }
        }
    }
    return text.str();
}

TEST(PciClasses, HaveTheSubClassesOfTheStandard) {
    std::vector<std::string> classes;
    for (unsigned int baseClass = 0; baseClass < 0x15; ++baseClass) {
        classes.push_back(NamedSubClasses(baseClass));
    }
    EXPECT_EQ(classes,
              (std::vector<std::string>{"0: 0 1",
                                        "1: 0 1 2 3 4 5 6 7 8 9 80",
                                        "2: 0 1 2 3 4 5 6 7 8 80",
                                        "3: 0/1 1 2 80",
                                        "4: 0 1 2 3 80",
                                        "5: 0 1 2 80",
                                        "6: 0 1 2 3 4 5 6 7 8 9 a b 80",
                                        "7: 0/0.1.2 1/0.1.2 2 3 4 5 80",
                                        "8: 0/0.1.2.10.20 1/0.1.2 2/0.1.2 3/0.1 4 5 6 7 80",
                                        "9: 0 1 2 3 4 80",
                                        "a: 0 80",
                                        "b: 0 1 2 10 20 30 40 80",
                                        "c: 0 1 2 3 4 5 6 7 8 9 a 80",
                                        "d: 0 1 10 11 12 20 21 40 41 80",
                                        "e: 0",
                                        "f: 1 2 3 4 80",
                                        "10: 0 10 80",
                                        "11: 0 1 10 20 80",
                                        "12: 0",
                                        "13: 0",
                                        "14:"}));
    CPciCommonConfigHeader header;
    const std::pair<std::uint8_t, const char*> names[] = {{0, "Unknown"},
                                                          {1, "Mass storage controller"},
                                                          {0x11, "Signal processing controller"},
                                                          {0x12, "Unknown"},
                                                          {0xFE, "Unknown"},
                                                          {0xFF, "Other"}};
    for (const auto& [baseClass, name] : names) {
        header.m_BaseClass = baseClass;
        EXPECT_STREQ(CPciCommonConfigHeader::GetPciBaseClassDescription(header), name);
    }
}

}  // namespace

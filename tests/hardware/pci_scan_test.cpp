// The scan over the kernel's tree of PCI functions, with slots from firmware tables.
#include <filesystem>

#include <gtest/gtest.h>

#include "hardware/device_bus_io.h"
#include "hardware/pci_config_list.h"
#include "hardware/pci_slot_map.h"
#include "tests/hardware/firmware_fixture.h"
#include "tests/hardware/pci_bytes.h"

namespace {

using pci_bytes::Function;
using pci_bytes::SystemSlot;

class PciScan : public CFirmwareTest {
protected:
    void SetUp() override {
        CFirmwareTest::SetUp();
        std::filesystem::remove_all(paths::kProcBusPci);
        std::filesystem::create_directories(paths::kProcBusPci);
    }
    static void WriteFunction(const std::string& name, const std::string& bytes) {
        const std::string path = std::string(paths::kProcBusPci) + '/' + name;
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        WriteFile(path, bytes);
    }
    static void WriteSmbios(const std::string& table) {
        WriteFile(paths::kSmbiosEntryPoint, smbios_bytes::EntryPoint30(0, 0));
        WriteFile(paths::kSmbiosTable, table);
    }
};

TEST_F(PciScan, HandsSlotsDownNestedBridgesAndSaysWhy) {
    WriteSmbios(SystemSlot({0, 1, 5, 6, 4}) + SystemSlot({9, 0, 6, 0xA5, 3}) +
                SystemSlot({9, 0, 7, 0xA5, 4}, 17));
    WriteFunction("00/01.0", Function(0x8086, 1));
    WriteFunction("00/02.0", Function(0x8086, 3));  // a bridge without a slot
    WriteFunction("01/00.0", Function(0x8086, 2));
    WriteFunction("02/1f.7", Function(0x1000));
    WriteFunction("03/00.0", Function(0x1000));
    WriteFunction("09/03.0", Function(0x1000));
    WriteFunction("0001:02/00.0", Function(0x1000));
    const std::string slot5 = "SMBIOS type 9, handle 0x0900, \"PCIE\": bus 00 device 01";
    const struct {
        const char* Address;
        int Slot;
        std::string Reason;
    } expected[] = {
        {"0000:00:01.0", 5, slot5},
        {"0000:00:02.0", -1,
         "no slot: no row for bus 00 device 02, and no bridge with a slot leads to bus 00"},
        {"0000:01:00.0", 5, "inherited from bridge 0000:00:01.0"},
        {"0000:02:1f.7", 5, "inherited from bridge 0000:01:00.0"},
        {"0000:03:00.0", -1,
         "no slot: no row for bus 03 device 00, and no bridge with a slot leads to bus 03"},
        {"0000:09:03.0", 7,
         "SMBIOS type 9, handle 0x0900, \"PCIE\": serial slot, every device on bus 09; "
         "first in use of 2 rows for this place"},
        {"0001:02:00.0", 5,
         "inherited from bridge 0000:01:00.0, which is in another segment: "
         "bridges are known by their bus alone"},
    };
    CPciConfigList list;
    ASSERT_TRUE(CPciConfigList::ScanPciSlots(list, true));
    ASSERT_EQ(list.size(), std::size(expected));
    for (const auto& row : expected) {
        const CPciSlotData& function = list.at(CPciAddress::Parse(row.Address).value());
        EXPECT_EQ(function.m_SlotNumber, row.Slot) << row.Address;
        EXPECT_EQ(function.m_SlotReason, row.Reason) << row.Address;
    }
    EXPECT_EQ(list.at(CPciAddress(0, 2, 31, 7)).m_SlotDesignation, "PCIE");
}

TEST_F(PciScan, SkipsWhatIsNoFunction) {
    WriteFunction("00/00.0", Function(0x8086));
    WriteFunction("00/01.0", Function(0xFFFF));
    WriteFunction("00/02.0", Function(0x8086).substr(0, 63));
    WriteFunction("00/03.0.old", Function(0x8086));
    WriteFunction("00/04.0/x", Function(0x8086));
    WriteFunction("00/05.0", Function(0));
    WriteFunction("10000:00/00.0", Function(0x8086));
    WriteFile(std::string(paths::kProcBusPci) + "/01", "");
    WriteFile(std::string(paths::kProcBusPci) + "/devices", "");
    CPciConfigList list;
    ASSERT_TRUE(CPciConfigList::ScanPciSlots(list, false));
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list.begin()->second.m_SlotNumber, CPciSlotData::kNoSlot);
    EXPECT_EQ(TextsWith("16 bits").size(), 1U);
    EXPECT_EQ(TextsWith("Invalid PCI device").size(), 3U);
    EXPECT_EQ(TextsWith("PCI devices detected").at(0),
              "CPciConfigList      : 1 PCI devices detected!");
    std::filesystem::remove_all(paths::kProcBusPci);
    EXPECT_FALSE(CPciConfigList::ScanPciSlots(list, false));
}

TEST_F(PciScan, ReadsWhatLiesAtAnOffsetOrFails) {
    WriteFunction("00/00.0", Function(0x8086));
    CDeviceBusIo reader;
    unsigned char bytes[4] = {};
    unsigned int size = 4;
    EXPECT_TRUE(reader.GetPciConfigSpace(0, 0, 0, 0, 0, size, bytes));
    EXPECT_EQ(bytes[1], 0x80);
    EXPECT_FALSE(reader.GetPciConfigSpace(0, 0, 0, 0, 62, size, bytes));
    EXPECT_EQ(size, 2U);
    EXPECT_FALSE(reader.GetPciConfigSpace(0x10000, 0, 0, 0, 0, size, bytes));
    EXPECT_FALSE(reader.GetPciConfigSpace(0, 0, 0, 0, 0, size, bytes));  // of 0 bytes
}

TEST_F(PciScan, SaysWhatIsWrongWithAnIrqRoutingTable) {
    const std::string table = pci_bytes::RoutingTable({{2, 0x38, {}, 3, 0}});
    const auto changed = [&](std::size_t at, char byte) {
        std::string bytes = table;
        bytes[at] = byte;
        return bytes;
    };
    const struct {
        std::string Table;
        std::string Text;
    } rows[] = {
        {pci_bytes::WithSize(table, 0), "Illegal table size in PCI IRQ Routing Table (0)"},
        {changed(6, 40),
         "PCI IRQ Routing Table size modulo sizeof (IRQ_ROUTING_TABLE_ENTRY) is not zero (40)"},
        {changed(5, 11), "Illegal version number in PCI IRQ Routing Table (11.0)"},
        {changed(40, 1), "Illegal checksum in PCI IRQ Routing Table ("},
    };
    for (const auto& row : rows) {
        WriteMemory(0x100000, 0xF1230, row.Table);
        const auto read = [] {
            EXPECT_TRUE(CPciSlotMap().GetSlotMappingFromIrqRoutingTable().empty());
        };
        EXPECT_EQ(LevelOf("GetRoutingTable   : ## ERROR! " + row.Text, read), 1) << row.Text;
    }
    WriteMemory(0x100000, 0xF1230, table);
    EXPECT_EQ(CPciSlotMap().GetSlotMappingFromIrqRoutingTable().size(), 1U);
    EXPECT_TRUE(CPciSlotMap().GetSlotMappingFromSMBIOS().empty());
    WriteSmbios(SystemSlot({0, 1, 5, 6, 4}));
    EXPECT_EQ(CPciSlotMap().GetSlotMappingFromSMBIOS().size(), 1U);
}

TEST_F(PciScan, PrefersTheIrqRoutingTableAndBuildsOnce) {
    WriteMemory(0x100000, 0xF1230, pci_bytes::RoutingTable({{2, 0x38, {}, 3, 0}}));
    WriteSmbios(SystemSlot({2, 0, 9, 0xA5, 4}) + SystemSlot({4, 0, 9, 0xA5, 4}));
    CPciSlotMap map;
    unsigned char slot = 99;
    EXPECT_TRUE(map.GetPciSlotNumber(slot, 2, 1, 0, 0));  // serial, by SMBIOS
    EXPECT_EQ(slot, 3);
    EXPECT_FALSE(map.GetPciSlotNumber(slot, 4, 0, 0, 0));
    EXPECT_EQ(slot, 0);
    EXPECT_EQ(map.FindRow(2, 1)->SlotDesignation(), "");  // which is slot 9's
    EXPECT_EQ(TextsWith("Using slot data").size(), 1U);
    EXPECT_TRUE(IsTraced({"CPciSlotMap::UpdateSlotTypeFromSMBios(): Updated slot type:",
                          "\tPciSlotData 2:7.** --> Slot 3 (Serial bus)"}));
}

TEST_F(PciScan, TracesTheKindOfASlot) {
    const std::pair<std::uint8_t, std::string> rows[] = {
        {0xA5, "is a PCI Express bus (SMBios type = a5) --> SERIAL."},
        {0x21, "is a PCI Express Mini bus (SMBios type = 21) --> SERIAL."},
        {0x18, "is a MXM bus (SMBios type = 18) --> SERIAL."},
        {0x14, "is a M.2 bus (SMBios type = 14) --> SERIAL."},
        {0x06, "is NOT a serial bus (SMBios type = 6) --> PARALLEL"},
    };
    for (const auto& [type, text] : rows) {
        EXPECT_EQ((PciSlotData{0, 1, 3, type, 4}).IsSerialBus(), type != 0x06);
        EXPECT_EQ(Texts().back(), "PciSlotData::IsSerialBus(): Slot 3 " + text);
    }
}

}  // namespace

// The four sources of the tables, on the real paths: their order, what they refuse, what they say.
#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "base/unique_fd.h"
#include "hardware/bios_tables.h"
#include "hardware/hypervisor_stream.h"
#include "hardware/smbios.h"
#include "hardware/smbios_table_from_memory.h"
#include "tests/hardware/firmware_fixture.h"
#include "tests/hardware/smbios_bytes.h"

namespace {

using namespace std::string_literals;
using smbios_bytes::EntryPoint21;
using smbios_bytes::EntryPoint30;

const std::string kTable =  // of 40 bytes
    smbios_bytes::Structure(1, 27, 1, {"Maker"}) + smbios_bytes::Structure(127);
constexpr std::uint32_t kTableAddress = 0x4321;

class SmbiosSources : public CFirmwareTest {
protected:
    // Memory with the table, and an entry point at `address`.
    static void WriteEfi(const std::string& key, std::size_t address, const std::string& entry) {
        WriteFile(paths::kEfiSystab, key + "=" + std::to_string(address) + "\n");
        std::string memory(0x8000, '\0');
        memory.replace(address, entry.size(), entry);
        memory.replace(kTableAddress, kTable.size(), kTable);
        WriteFile(paths::kMemoryDevice, memory);
    }
    // The revision, or the empty text when there is no connection.
    static std::string Connect() {
        CSMBios smbios;
        const bool isConnected = smbios.Connect();
        EXPECT_EQ(isConnected, smbios.GetData().View().Text().starts_with(kTable));
        const smbios_tables::Revision revision = smbios.GetRevision();
        return isConnected ? std::to_string(revision.Major) + "." + std::to_string(revision.Minor)
                           : "";
    }
    void ExpectUnchanged() const {
        EXPECT_EQ(m_Header.View().Text(), "header");
        EXPECT_EQ(m_Data.View().Text(), "data");
    }

    CDataStream m_Header = smbios_bytes::Stream("header");
    CDataStream m_Data = smbios_bytes::Stream("data");
};

TEST_F(SmbiosSources, AreTriedInTheirOrder) {
    EXPECT_EQ(Connect(), "");
    WriteShadow(EntryPoint21(kTableAddress, 40, 2), kTable);
    EXPECT_EQ(Connect(), "2.7");
    EXPECT_TRUE(HasTraced(R"(
CSMBios (Connect)   : ## ERROR! Could not find any SMBIOS data!
CSMBios::setSmbiosRevisionFromHeader() : Error # No SMBios header to process!
BuildStructureList  : ## ERROR! SMBIOS structures are not set
CSMBios (Connect)   : SMBIOS NOT connected
CBiosTables::GetSmbiosData() : ERROR ## No SMBios found!
CSMBios (Connect)   : Got SMBIOS data from BIOS shadow memory (40 bytes)
CSMBios (Connect)   : SMBIOS successfully connected
)"));
    std::string esx = EntryPoint21(1, 40);
    esx[7] = 8;
    WriteFile(paths::kHypervisorSmbios, esx + kTable);
    EXPECT_EQ(Connect(), "2.8");
    WriteEfi("SMBIOS", 0x123, EntryPoint21(kTableAddress, 40));
    EXPECT_EQ(Connect(), "2.7");
    WriteEfi("SMBIOS3", 0x123, EntryPoint30(kTableAddress, 40));
    EXPECT_EQ(Connect(), "3.4");
    WriteFile(paths::kSmbiosTable, kTable);
    WriteFile(paths::kSmbiosEntryPoint, "UEFI\x01\x09");
    EXPECT_EQ(Connect(), "9.1");
    EXPECT_TRUE(HasTraced(R"(
CBiosTables::GetSmbiosData() : ESXi specific SMBios found.
CBiosTables::GetAnySMBiosFromMemory() : Read SMBios header (24) bytes, data (40) bytes
CBiosTables::GetSmbiosData() : Found in memory.
CBiosTables::GetAnySMBiosFromSysfs() Success : Header (6) bytes, Data (40) bytes
CBiosTables::GetSmbiosData() : Found in sysfs.
CSMBios (Connect)   : SMBIOS data got from operating system (40 bytes)
)"));
    // An entry point of any size and content is taken.
    WriteFile(paths::kSmbiosEntryPoint, std::string(65536, '?'));
    EXPECT_EQ(Connect(), "0.0");
    EXPECT_TRUE(HasTraced(R"(
CSMBios::setSmbiosRevisionFromHeader() : Error # Invalid SMBios version! (no anchor string matched)
)"));
}

TEST_F(SmbiosSources, KeepNothingOfAnEarlierConnection) {
    WriteFile(paths::kSmbiosTable, kTable);
    WriteFile(paths::kSmbiosEntryPoint, EntryPoint30(0, 0));
    CSMBios smbios;
    EXPECT_TRUE(smbios.Connect());
    Remove(paths::kSmbiosTable);
    EXPECT_FALSE(smbios.Connect());
    EXPECT_TRUE(smbios.GetData().IsEmpty());
}

TEST_F(SmbiosSources, SysfsNeedsBothFiles) {
    EXPECT_FALSE(CBiosTables::GetAnySMBiosFromSysfs(m_Header, m_Data));
    for (const auto& [entryPoint, table] : {std::pair{""s, kTable}, {EntryPoint30(0, 0), ""s}}) {
        WriteFile(paths::kSmbiosEntryPoint, entryPoint);
        WriteFile(paths::kSmbiosTable, table);
        EXPECT_FALSE(CBiosTables::GetAnySMBiosFromSysfs(m_Header, m_Data));
    }
    Remove(paths::kSmbiosTable);
    MakeDirectories(paths::kSmbiosTable);
    EXPECT_FALSE(CBiosTables::GetAnySMBiosFromSysfs(m_Header, m_Data));
    EXPECT_FALSE(CDataStream::ReadFromFile(paths::kSmbiosTable, m_Data));
    ExpectUnchanged();
    EXPECT_TRUE(HasTraced(R"(
CDataStream::ReadFromFile() : Could not read file : '/sys/firmware/dmi/tables/smbios_entry_point'
CBiosTables::GetAnySMBiosFromSysfs() Could not read SMBios entry file.
CDataStream::ReadFromFile() : Could not read file : '/sys/firmware/dmi/tables/DMI'
CBiosTables::GetAnySMBiosFromSysfs() Could not read SMBios data table file.
)"));
}

TEST_F(SmbiosSources, EfiReaderSaysWhatItDoes) {
    // At the end of a page, so that entry point and offset are on two pages.
    WriteEfi("SMBIOS3", 0xFFE, EntryPoint30(kTableAddress, 40));
    EXPECT_TRUE(smbios_tables::SMBiosTableFromMemoryV3().GetBiosData(m_Header, m_Data));
    EXPECT_EQ(m_Header.View().Text(), EntryPoint30(kTableAddress, 40));
    EXPECT_EQ(m_Data.View().Text(), kTable);
    EXPECT_EQ(smbios_tables::SMBiosTableFromMemoryV2().GetUEFIAddress(), 0U);
    EXPECT_TRUE(HasTraced(R"(
SMBiosTableFromMemory::GetUEFIAddress() : UEFI interface detected: try to get SMBIOS3 address info from '/sys/firmware/efi/systab'
SMBiosTableFromMemory::GetUEFIAddress() : SMBIOS3 address found : 0x00000000000ffe
SMBiosTableFromMemory::GetBiosData() : Map SMBios header (address=0x0000000000000ffe, size=0x0000000000000018, offset=0x0000000000000ffe)
SMBiosTableFromMemory::GetBiosData() : Map SMBios data table (address=0x0000000000004321, size=0x0000000000000028, offset=0x0000000000000321)
SMBiosTableFromMemory::GetUEFIAddress() : SMBIOS address NOT found!
)"));
}

TEST_F(SmbiosSources, EfiReaderRefusesWhatIsNotThere) {
    const smbios_tables::SMBiosTableFromMemoryV3 reader;
    const auto refuses = [&](const std::string& text) {
        const std::string line = "SMBiosTableFromMemory::GetBiosData() : " + text;
        const std::size_t before = TextsWith(line).size();
        EXPECT_FALSE(reader.GetBiosData(m_Header, m_Data));
        ExpectUnchanged();
        return TextsWith(line).size() > before;
    };
    EXPECT_TRUE(refuses("SMBios address not found. Abort."));
    EXPECT_TRUE(HasTraced(R"(
SMBiosTableFromMemory::GetUEFIAddress() : Couldn't open '/sys/firmware/efi/systab' : No such file or directory
SMBiosTableFromMemory::GetUEFIAddress() : Couldn't open '/proc/efi/systab' : No such file or directory
SMBiosTableFromMemory::GetUEFIAddress() : Failed.
)"));
    WriteFile(paths::kEfiSystab, "SMBIOS3=0x8000\n");
    EXPECT_TRUE(refuses("ERROR # Couldn't open /dev/mem : No such file or directory"));
    const std::string mapFailed = "ERROR # mmap failed : (errno=6) No such device or address";
    WriteFile(paths::kMemoryDevice, std::string(0x8000 + 23, '\1'));  // the entry point is cut off
    EXPECT_TRUE(refuses(mapFailed));
    WriteFile(paths::kEfiSystab, "SMBIOS3=0x123456789a\n");  // above 4 GiB
    EXPECT_TRUE(refuses(mapFailed));
    EXPECT_EQ(TextsWith("SMBIOS3 address found : 0x0000123456789a").size(), 1U);
    WriteFile(paths::kEfiSystab, "SMBIOS3=-1\n");
    EXPECT_TRUE(refuses("ERROR # mmap failed : (errno=75)"));
    const struct {
        std::uint64_t Address;
        std::uint32_t Size;
        std::string Text;
    } tables[] = {
        {0, 40,
         "ERROR # Couldn't parse SMBios header! (address=0x0000000000000000, "
         "size=0x0000000000000028)"},
        {0x4321, 0, "SMBios table NOT found in memory."},
        {0x4321, 0x8000, mapFailed},  // beyond the end
        {0x5'0000'4321, 40, mapFailed},
        {0x4321, 0xFFFFFFFF, "ERROR # mmap failed : (errno=27) File too large"},
    };
    for (const auto& row : tables) {
        WriteEfi("SMBIOS3", 0x100, EntryPoint30(row.Address, row.Size));
        EXPECT_TRUE(refuses(row.Text)) << row.Text;
    }
}

TEST_F(SmbiosSources, FindATableAboveFourGigabytes) {
    constexpr std::uint64_t kAddress = 0x1'4000'0123;
    WriteEfi("SMBIOS3", 0x100, EntryPoint30(kAddress, 40));
    const CUniqueFd memory(open(paths::kMemoryDevice, O_WRONLY | O_CLOEXEC));  // with a hole
    ASSERT_EQ(pwrite(memory.Get(), kTable.data(), kTable.size(), kAddress), 40);
    EXPECT_EQ(Connect(), "3.4");
}

TEST_F(SmbiosSources, HypervisorGivesEntryPointAndTableInOneStream) {
    const std::string entry = EntryPoint21(1, 40);
    const auto get = [&](const std::string& device) {
        WriteFile(paths::kHypervisorSmbios, device);
        return CBiosTables::GetBiosTableESX(m_Header, m_Data);
    };
    EXPECT_FALSE(CBiosTables::GetBiosTableESX(m_Header, m_Data));
    EXPECT_TRUE(TextsWith("GetBiosTableESX").empty());
    EXPECT_FALSE(get(entry.substr(0, 30)));
    EXPECT_FALSE(get(entry + kTable.substr(0, 39)));
    std::string longer = entry;
    longer[5] = 100;  // of more than one read, and the second takes as much again
    EXPECT_FALSE(get(longer + std::string(69, 'e') + kTable));
    ExpectUnchanged();
    // Up to 32 bytes from behind the table are kept.
    EXPECT_TRUE(get(entry + kTable + std::string(100, 'x')));
    EXPECT_EQ(m_Header.View().Text(), entry);
    EXPECT_EQ(m_Data.View().Text(), kTable + std::string(32, 'x'));
    longer[5] = 60;
    EXPECT_TRUE(get(longer + std::string(29, 'e') + kTable));
    EXPECT_EQ(m_Header.Size(), 31U);
    EXPECT_EQ(m_Data.View().Text(), kTable);
    EXPECT_TRUE(HasTraced(R"(
GetBiosTableESX        : we are running on ESX; file /vmfs/devices/char/mem/smbios succesfully opened!
GetBiosTableESX        : ERROR: read SMBIOS header from /vmfs/devices/char/mem/smbios failed! (readlen = 30, hdrlen = 31), Reason: Success
GetBiosTableESX        : ERROR: read SMBIOS Table from /vmfs/devices/char/mem/smbios failed! (len = 39, TableLen = 40), Reason: no sufficiant data available
GetBiosTableESX        : ERROR: read SMBIOS header from /vmfs/devices/char/mem/smbios failed! (len = 0, BytesToRead = -40), Reason: Success
GetBiosTableESX        : 72 bytes read from SMBIOS Table /vmfs/devices/char/mem/smbios (TableLen = 40, BytesToRead = 0)
GetBiosTableESX        : 40 bytes read from SMBIOS Table /vmfs/devices/char/mem/smbios (TableLen = 40, BytesToRead = 32)
)"));
}

TEST_F(SmbiosSources, HypervisorStreamWithoutEndIsGivenUp) {
    std::string entry = EntryPoint21(1, 40);
    entry[5] = 100;
    const auto read = [&](void* buffer, std::size_t size) {
        return ReadResult{entry.copy(static_cast<char*>(buffer), size), 0};
    };
    EXPECT_FALSE(hypervisor_stream::ReadTables(
        read, [] {}, m_Header, m_Data));
    ExpectUnchanged();
    EXPECT_TRUE(HasTraced(R"(
GetBiosTableESX        : ERROR: read SMBIOS header from /vmfs/devices/char/mem/smbios failed! (len = 31, BytesToRead = -65558), Reason: Success
)"));
}

TEST_F(SmbiosSources, ShadowMemoryIsRefusedWithItsReason) {
    const std::string good = EntryPoint21(kTableAddress, 40);
    constexpr char kNotFound[] = "No SMBIOS structures found!";
    const struct {
        std::string Entry;
        std::size_t Offset;
        const char* Error;
    } rows[] = {
        {good, 0x18, kNotFound},
        {good.substr(0, 16), 0x1FFF0, kNotFound},
        {EntryPoint30(kTableAddress, 40), 0x10, kNotFound},
        {"_SM_\x01\xFF", 0x1FFE0, kNotFound},  // longer than what is left
        {EntryPoint21(0, 40), 0x10, "No address for SMBIOS strucures detected!"},
        {EntryPoint21(kTableAddress, 0), 0x10,
         "Remapping of SMBIOS structure memory failed (LastError = 0x00000016)!"},
        {EntryPoint21(0xFFFFF, 2), 0x10,
         "Remapping of SMBIOS structure memory failed (LastError = 0x00000006)!"},
    };
    for (const auto& row : rows) {
        WriteShadow(row.Entry, kTable, row.Offset);
        CSMBios smbios;
        EXPECT_FALSE(smbios.getSmbiosDataFromBiosShadowMemory(m_Header, m_Data));
        EXPECT_EQ(smbios.GetLastError(), row.Error);
        ExpectUnchanged();
    }
    Remove(paths::kMemoryDevice);
    CSMBios smbios;
    EXPECT_FALSE(smbios.getSmbiosDataFromBiosShadowMemory(m_Header, m_Data));
    EXPECT_TRUE(HasTraced(R"(
CSMBios (GetShadow) : ## ERROR! No SMBIOS structures found!
CSMBios (GetShadow) : ## ERROR! Could not map SMBIOS physical memory (LastError = 0x00000002)!
)"));
}

TEST_F(SmbiosSources, ShadowMemoryIsSearchedParagraphByParagraph) {
    WriteShadow("_xxxxxxxx_SM_xx_" + EntryPoint21(kTableAddress, 40, 7), kTable, 0x1FFC0);
    CSMBios smbios;
    EXPECT_TRUE(smbios.getSmbiosDataFromBiosShadowMemory(m_Header, m_Data));
    EXPECT_EQ(m_Data.View().Text(), kTable);
    EXPECT_EQ(smbios.GetStructureCount(), 7U);
    EXPECT_TRUE(HasTraced(R"(
ScanForSignature    :   '_' found at a non-paragraph address (0x000FFFC9), continue searching
ScanForSignature    : SMBIOS signature "_SM_" found (SM BIOS >= 2.1) at 0x000FFFD0
CheckSmbiosHeader   :   DMI Version:    2.7 (BCD Rev: 27)
CheckSmbiosHeader   :   struct address: 0x00004321, size 0x0028
CSMBios (GetShadow) : SMBIOS structure address found; map this physical address (0x00004321 size 40)...
)"));
}

TEST_F(SmbiosSources, TraceEachStepAtItsLevel) {
    using Lines = std::vector<std::string>;
    const auto connect = [] {
        (void)Connect();
    };
    WriteShadow(EntryPoint21(kTableAddress, 40, 2), kTable);
    EXPECT_EQ(LinesByLevel(connect),
              (Lines{" 5:1", "0000 5:1", "01 5:1", "7 5:1", "7F 5:1", "BuildStructureList 4:4 6:1",
                     "CBiosTables 1:1 3:1 4:2 5:1", "CDataStream 1:1 5:1", "CDeviceBios 3:2 4:2",
                     "CDeviceBiosBase 4:2", "CSMBios 2:1 3:2 4:4", "CheckSmbiosHeader 2:1 3:5",
                     "SMBiosTableFromMemory 2:2 3:2 4:4 5:6", "ScanForSignature 3:2"}));
    WriteEfi("SMBIOS3", 0x123, EntryPoint30(kTableAddress, 40));
    EXPECT_EQ(LinesByLevel(connect),
              (Lines{" 5:1", "01 5:1", "7F 5:1", "BuildStructureList 4:4 6:1",
                     "CBiosTables 2:1 3:1 4:1 5:2", "CDataStream 1:1 5:1", "CSMBios 4:4",
                     "SMBiosTableFromMemory 3:4 4:1 5:3"}));
    WriteEfi("SMBIOS3", 0x123, EntryPoint30(kTableAddress, 0));
    EXPECT_EQ(LinesByLevel(connect),
              (Lines{"BuildStructureList 1:1", "CBiosTables 1:1 3:1 4:2 5:1", "CDataStream 1:1 5:1",
                     "CDeviceBios 4:1", "CDeviceBiosBase 4:2", "CSMBios 1:3 2:1 3:1 4:3",
                     "SMBiosTableFromMemory 1:2 2:2 3:4 5:6"}));
    WriteFile(paths::kSmbiosTable, smbios_bytes::Structure(11) + "\x0C\x10\x01\x00tail"s);
    WriteFile(paths::kSmbiosEntryPoint, EntryPoint30(0, 0));
    EXPECT_EQ(LinesByLevel([] { (void)CSMBios().Connect(); }),
              (Lines{" 3:3", "## 3:1", std::string(116, '-') + " 3:2", "0B 5:1", "0C 5:1",
                     "BuildStructureList 4:2", "CBiosTables 2:1 5:2", "CDataStream 3:2 5:2",
                     "CSMBios 4:4"}));
}

}  // namespace

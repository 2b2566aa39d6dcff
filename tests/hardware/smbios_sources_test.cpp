// The four sources of the tables, on the real paths: their order, what they refuse, what they say.
#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "base/unique_fd.h"
#include "hardware/bios_tables.h"
#include "hardware/smbios.h"
#include "hardware/smbios_table_from_memory.h"
#include "tests/hardware/firmware_fixture.h"
#include "tests/hardware/smbios_bytes.h"

namespace {

using namespace std::string_literals;
using smbios_bytes::EntryPoint21;
using smbios_bytes::EntryPoint30;

const std::string kTable =
    smbios_bytes::Structure(1, 27, 1, {"Maker"}) + smbios_bytes::Structure(127);
constexpr std::uint32_t kTableAddress = 0x4321;
constexpr char kReader[] = "SMBiosTableFromMemory::GetBiosData() : ";

class SmbiosSources : public CFirmwareTest {
protected:
    static void WriteSysfs() {
        WriteFile(paths::kSmbiosEntryPoint, EntryPoint30(0, 0));
        WriteFile(paths::kSmbiosTable, kTable);
    }
    // Memory with the table, and an entry point at `address`.
    static void WriteEfi(const std::string& key, std::size_t address, const std::string& entry) {
        WriteFile(paths::kEfiSystab, key + "=" + std::to_string(address) + "\n");
        std::string memory(0x8000, '\0');
        memory.replace(address, entry.size(), entry);
        memory.replace(kTableAddress, kTable.size(), kTable);
        WriteFile(paths::kMemoryDevice, memory);
    }
    // A memory with an entry point in the shadow range and the table below.
    static void WriteShadow(const std::string& entry, std::size_t offset = 0x10) {
        std::string memory(0x100000, '\0');
        memory.replace(0xE0000 + offset, entry.size(), entry);
        memory.replace(kTableAddress, kTable.size(), kTable);
        WriteFile(paths::kMemoryDevice, memory);
    }
    // The revision and the end of the trace, or the empty text when there is no connection.
    static std::string Connect() {
        CSMBios smbios;
        const bool isConnected = smbios.Connect();
        EXPECT_EQ(isConnected, smbios.GetData().View().Text().starts_with(kTable));
        const smbios_tables::Revision revision = smbios.GetRevision();
        return isConnected ? std::to_string(revision.Major) + "." + std::to_string(revision.Minor)
                           : "";
    }
    CDataStream m_Header = smbios_bytes::Stream("header");
    CDataStream m_Data = smbios_bytes::Stream("data");

    void ExpectUnchanged() const {
        EXPECT_EQ(m_Header.View().Text(), "header");
        EXPECT_EQ(m_Data.View().Text(), "data");
    }
};

TEST_F(SmbiosSources, AreTriedInTheirOrder) {
    EXPECT_EQ(Connect(), "");
    WriteShadow(EntryPoint21(kTableAddress, static_cast<std::uint16_t>(kTable.size()), 2));
    EXPECT_EQ(Connect(), "2.7");
    EXPECT_TRUE(
        IsTraced({"CSMBios (Connect)   : ## ERROR! Could not find any SMBIOS data!",
                  "CSMBios::setSmbiosRevisionFromHeader() : Error # No SMBios header to "
                  "process!",
                  "BuildStructureList  : ## ERROR! SMBIOS structures are not set",
                  "CSMBios (Connect)   : SMBIOS NOT connected",
                  "CBiosTables::GetSmbiosData() : ERROR ## No SMBios found!",
                  "CSMBios (Connect)   : Got SMBIOS data from BIOS shadow memory (40 bytes)",
                  "CSMBios (Connect)   : SMBIOS revision: 2.7",
                  "CSMBios (Connect)   : Build structure list...",
                  "CSMBios (Connect)   : SMBIOS successfully connected"}));
    std::string esx = EntryPoint21(1, static_cast<std::uint16_t>(kTable.size()));
    esx[7] = 8;
    WriteFile(paths::kHypervisorSmbios, esx + kTable);
    EXPECT_EQ(Connect(), "2.8");
    WriteEfi("SMBIOS", 0x123,
             EntryPoint21(kTableAddress, static_cast<std::uint16_t>(kTable.size())));
    EXPECT_EQ(Connect(), "2.7");
    WriteEfi("SMBIOS3", 0x123,
             EntryPoint30(kTableAddress, static_cast<std::uint32_t>(kTable.size())));
    EXPECT_EQ(Connect(), "3.4");
    WriteSysfs();
    WriteFile(paths::kSmbiosEntryPoint, "UEFI\x01\x09");
    EXPECT_EQ(Connect(), "9.1");
    EXPECT_TRUE(IsTraced(
        {"CBiosTables::GetSmbiosData() : ESXi specific SMBios found.",
         "CBiosTables::GetAnySMBiosFromMemory() No SMBios 3 in memory.",
         "CBiosTables::GetSmbiosData() : Found in memory.", "CBiosTables::GetSmbiosData() Start.",
         "CBiosTables::GetAnySMBiosFromMemory() : Read SMBios header (24) bytes, "
         "data (40) bytes",
         "CBiosTables::GetAnySMBiosFromMemory() Success.",
         "CBiosTables::GetSmbiosData() : Found in memory.",
         "CDataStream::ReadFromFile() : '/sys/firmware/dmi/tables/DMI'",
         "CDataStream::ReadFromFile() : Read 40 bytes.",
         "CBiosTables::GetAnySMBiosFromSysfs() Success : Header (6) bytes, Data "
         "(40) bytes",
         "CBiosTables::GetSmbiosData() : Found in sysfs.",
         "CSMBios (Connect)   : SMBIOS data got from operating system (40 bytes)"}));
}

TEST_F(SmbiosSources, SysfsNeedsBothFiles) {
    EXPECT_FALSE(CBiosTables::GetAnySMBiosFromSysfs(m_Header, m_Data));
    WriteFile(paths::kSmbiosEntryPoint, "");
    WriteFile(paths::kSmbiosTable, kTable);
    EXPECT_FALSE(CBiosTables::GetAnySMBiosFromSysfs(m_Header, m_Data));
    WriteFile(paths::kSmbiosEntryPoint, EntryPoint30(0, 0));
    WriteFile(paths::kSmbiosTable, "");
    EXPECT_FALSE(CBiosTables::GetAnySMBiosFromSysfs(m_Header, m_Data));
    Remove(paths::kSmbiosTable);
    EXPECT_FALSE(CBiosTables::GetAnySMBiosFromSysfs(m_Header, m_Data));
    MakeDirectories(paths::kSmbiosTable);
    EXPECT_FALSE(CBiosTables::GetAnySMBiosFromSysfs(m_Header, m_Data));
    ExpectUnchanged();
    EXPECT_FALSE(CDataStream::ReadFromFile("", m_Data));
    EXPECT_TRUE(IsTraced(
        {"CDataStream::ReadFromFile() : Could not read file : "
         "'/sys/firmware/dmi/tables/smbios_entry_point'",
         "CBiosTables::GetAnySMBiosFromSysfs() Could not read SMBios entry file.",
         "CDataStream::ReadFromFile() : Read 0 bytes.",
         "CBiosTables::GetAnySMBiosFromSysfs() Could not read SMBios entry file.",
         "CBiosTables::GetAnySMBiosFromSysfs() Could not read SMBios data table file.",
         "CDataStream::ReadFromFile() : Could not read file : '/sys/firmware/dmi/tables/DMI'",
         "CBiosTables::GetAnySMBiosFromSysfs() Could not read SMBios data table file.",
         "CDataStream::ReadFromFile() : Argument file path is empty!"}));
    // An entry point of any size and content is taken.
    Remove(paths::kSmbiosTable);
    WriteFile(paths::kSmbiosTable, kTable);
    WriteFile(paths::kSmbiosEntryPoint, std::string(65536, '?'));
    EXPECT_EQ(Connect(), "0.0");
    EXPECT_TRUE(
        IsTraced({"CSMBios::setSmbiosRevisionFromHeader() : Error # Invalid SMBios version! "
                  "(no anchor string matched)"}));
}

TEST_F(SmbiosSources, EfiReaderSaysWhatItDoes) {
    // At the end of a page, so that entry point and offset are on two pages.
    WriteEfi("SMBIOS3", 0xFFE, EntryPoint30(kTableAddress, 40));
    EXPECT_TRUE(smbios_tables::SMBiosTableFromMemoryV3().GetBiosData(m_Header, m_Data));
    EXPECT_EQ(m_Header.View().Text(), EntryPoint30(kTableAddress, 40));
    EXPECT_EQ(m_Data.View().Text(), kTable);
    EXPECT_TRUE(IsTraced(
        {"SMBiosTableFromMemory::Ctor() : Done.", "SMBiosTableFromMemory::GetBiosData() : Start.",
         "SMBiosTableFromMemory::GetUEFIAddress() : UEFI interface detected: try to get SMBIOS3 "
         "address info from '/sys/firmware/efi/systab'",
         "SMBiosTableFromMemory::GetUEFIAddress() : SMBIOS3 address found : 0x00000000000ffe",
         kReader + "Map SMBios header (address=0x0000000000000ffe, size=0x0000000000000018, "
                   "offset=0x0000000000000ffe)"s,
         kReader + "Map SMBios data table (address=0x0000000000004321, size=0x0000000000000028, "
                   "offset=0x0000000000000321)"s,
         kReader + "SMBios table found in memory."s, "SMBiosTableFromMemory::Dtor() : Done."}));
    EXPECT_EQ(smbios_tables::SMBiosTableFromMemoryV2().GetUEFIAddress(), 0U);
    EXPECT_TRUE(IsTraced({"SMBiosTableFromMemory::GetUEFIAddress() : SMBIOS address NOT found!"}));
}

TEST_F(SmbiosSources, EfiReaderRefusesWhatIsNotThere) {
    const smbios_tables::SMBiosTableFromMemoryV3 reader;
    const auto refuses = [&](const std::string& text) {
        const std::size_t before = TextsWith(kReader + text).size();
        EXPECT_FALSE(reader.GetBiosData(m_Header, m_Data));
        ExpectUnchanged();
        return TextsWith(kReader + text).size() > before;
    };
    EXPECT_TRUE(refuses("SMBios address not found. Abort."));
    EXPECT_TRUE(
        IsTraced({"SMBiosTableFromMemory::GetUEFIAddress() : Couldn't open "
                  "'/sys/firmware/efi/systab' : No such file or directory",
                  "SMBiosTableFromMemory::GetUEFIAddress() : Couldn't open "
                  "'/proc/efi/systab' : No such file or directory",
                  "SMBiosTableFromMemory::GetUEFIAddress() : Failed."}));
    WriteFile(paths::kEfiSystab, "SMBIOS3=0x8000\n");
    EXPECT_TRUE(refuses("ERROR # Couldn't open /dev/mem : No such file or directory"));
    constexpr char kMapFailed[] = "ERROR # mmap failed : (errno=6) No such device or address";
    WriteFile(paths::kMemoryDevice, std::string(0x8000 + 23, '\1'));  // the entry point is cut off
    EXPECT_TRUE(refuses(kMapFailed));
    WriteFile(paths::kEfiSystab, "SMBIOS3=0x123456789a\n");  // above 4 GiB
    EXPECT_TRUE(refuses(kMapFailed));
    EXPECT_EQ(TextsWith("SMBIOS3 address found : 0x0000123456789a").size(), 1U);
    WriteFile(paths::kEfiSystab, "SMBIOS3=-1\n");
    EXPECT_TRUE(refuses("ERROR # mmap failed : (errno=75)"));

    WriteEfi("SMBIOS3", 0x100, EntryPoint30(0, 40));
    EXPECT_TRUE(
        refuses("ERROR # Couldn't parse SMBios header! (address=0x0000000000000000, "
                "size=0x0000000000000028)"));
    EXPECT_TRUE(refuses("SMBios table NOT found in memory."));
    WriteEfi("SMBIOS3", 0x100, EntryPoint30(0x4321, 0));
    EXPECT_TRUE(
        refuses("ERROR # Couldn't parse SMBios header! (address=0x0000000000004321, "
                "size=0x0000000000000000)"));
    WriteEfi("SMBIOS3", 0x100, EntryPoint30(0x4321, 0x8000));  // a table beyond the end
    EXPECT_TRUE(refuses(kMapFailed));
    WriteEfi("SMBIOS3", 0x100, EntryPoint30(0x5'0000'4321, 40));
    EXPECT_TRUE(refuses(kMapFailed));
    WriteEfi("SMBIOS3", 0x100, EntryPoint30(0x4321, 0xFFFFFFFF));
    EXPECT_TRUE(refuses("ERROR # mmap failed : (errno=27) File too large"));
    EXPECT_EQ(reader.GetDataLength(nullptr), 0U);
    EXPECT_EQ(reader.GetDataAddress(nullptr), 0U);
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
    longer[5] = 100;  // of more than one read, and nothing behind the device's end
    EXPECT_FALSE(get(longer + kTable));
    ExpectUnchanged();
    EXPECT_TRUE(IsTraced(
        {"GetBiosTableESX        : we are running on ESX; file /vmfs/devices/char/mem/smbios "
         "succesfully opened!",
         "GetBiosTableESX        : ERROR: read SMBIOS header from /vmfs/devices/char/mem/smbios "
         "failed! (readlen = 30, hdrlen = 31), Reason: Success",
         "GetBiosTableESX        : ERROR: read SMBIOS Table from /vmfs/devices/char/mem/smbios "
         "failed! (len = 39, TableLen = 40), Reason: no sufficiant data available",
         "GetBiosTableESX        : ERROR: read SMBIOS header from /vmfs/devices/char/mem/smbios "
         "failed! (len = 0, BytesToRead = 29), Reason: Success"}));
    // Up to 32 bytes from behind the table are kept.
    EXPECT_TRUE(get(entry + kTable + std::string(100, 'x')));
    EXPECT_EQ(m_Header.View().Text(), entry);
    EXPECT_EQ(m_Data.View().Text(), kTable + std::string(32, 'x'));
    std::string longEntry = entry;
    longEntry[5] = 60;
    EXPECT_TRUE(get(longEntry + std::string(29, 'e') + kTable));
    EXPECT_EQ(m_Header.Size(), 31U);
    EXPECT_EQ(m_Data.View().Text(), kTable);
    EXPECT_TRUE(
        IsTraced({"GetBiosTableESX        : 72 bytes read from SMBIOS Table "
                  "/vmfs/devices/char/mem/smbios (TableLen = 40, BytesToRead = 0)",
                  "GetBiosTableESX        : 40 bytes read from SMBIOS Table "
                  "/vmfs/devices/char/mem/smbios (TableLen = 40, BytesToRead = 32)"}));
}

TEST_F(SmbiosSources, ShadowMemoryIsRefusedWithItsReason) {
    const std::string good = EntryPoint21(kTableAddress, 40);
    std::string badChecksum = good;
    ++badChecksum[0x1E];
    const struct {
        std::string Entry;
        std::size_t Offset;
        const char* Error;
    } rows[] = {
        {"", 0x10, "No SMBIOS structures found!"},
        {good, 0x18, "No SMBIOS structures found!"},
        {good.substr(0, 16), 0x1FFF0, "No SMBIOS structures found!"},
        {EntryPoint30(kTableAddress, 40), 0x10, "No SMBIOS structures found!"},
        {badChecksum, 0x10, "No SMBIOS structures found!"},
        {"_SM_\x01\xFF", 0x1FFE0, "No SMBIOS structures found!"},  // longer than what is left
        {EntryPoint21(0, 40), 0x10, "No address for SMBIOS strucures detected!"},
        {EntryPoint21(kTableAddress, 0), 0x10,
         "Remapping of SMBIOS structure memory failed (LastError = 0x00000016)!"},
        {EntryPoint21(0xFFFFF, 2), 0x10,
         "Remapping of SMBIOS structure memory failed (LastError = 0x00000006)!"},
    };
    for (const auto& row : rows) {
        WriteShadow(row.Entry, row.Offset);
        CSMBios smbios;
        EXPECT_FALSE(smbios.getSmbiosDataFromBiosShadowMemory(m_Header, m_Data));
        EXPECT_EQ(smbios.GetLastError(), row.Error);
        EXPECT_EQ(TextsWith("CSMBios (GetShadow) : ## ERROR! ").back(),
                  "CSMBios (GetShadow) : ## ERROR! "s + row.Error);
        ExpectUnchanged();
    }
    Remove(paths::kMemoryDevice);
    CSMBios smbios;
    EXPECT_FALSE(smbios.getSmbiosDataFromBiosShadowMemory(m_Header, m_Data));
    EXPECT_EQ(smbios.GetLastError(),
              "Could not map SMBIOS physical memory (LastError = 0x00000002)!");
}

TEST_F(SmbiosSources, ShadowMemoryIsSearchedParagraphByParagraph) {
    WriteShadow("_xxxxxxxx_SM_xxx" + EntryPoint21(kTableAddress, 40, 7), 0x1FFC0);
    CSMBios smbios;
    EXPECT_TRUE(smbios.getSmbiosDataFromBiosShadowMemory(m_Header, m_Data));
    EXPECT_EQ(m_Data.View().Text(), kTable);
    EXPECT_EQ(smbios.GetStructureCount(), 7U);
    EXPECT_TRUE(IsTraced(
        {"CDeviceBiosBase     :   connect to BIOS device...",
         "CSMBios (GetShadow) : Get SMBIOS data from BIOS shadow memory (E0000...FFFFF)",
         "CSMBios (GetShadow) :   map physical memory 0xE0000 length 0x20000",
         "ScanForSignature    :   '_' found at a non-paragraph address (0x000FFFC9), continue "
         "searching",
         "ScanForSignature    : SMBIOS signature \"_SM_\" found (SM BIOS >= 2.1) at 0x000FFFD0",
         "CheckSmbiosHeader   :   DMI Version:    2.7 (BCD Rev: 27)",
         "CheckSmbiosHeader   :   struct address: 0x00004321, size 0x0028",
         "CheckSmbiosHeader   : Checksum OK, storing header",
         "ScanForSignature    : -> SMBIOS detected",
         "CSMBios (GetShadow) : SMBIOS structure address found; map this physical address "
         "(0x00004321 size 40)...",
         "CDeviceBiosBase     :   disconnect from BIOS device"}));
}

}  // namespace

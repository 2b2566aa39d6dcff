// What the walk over a structure table writes.
#include <gtest/gtest.h>

#include "hardware/smbios.h"
#include "tests/hardware/firmware_fixture.h"
#include "tests/hardware/smbios_bytes.h"

namespace {

using namespace std::string_literals;
using smbios_bytes::Structure;

class SmbiosTrace : public CFirmwareTest {
protected:
    static CSMBios& Connect(CSMBios& smbios, const std::string& table) {
        (void)smbios.ConnectCopy(CDataStream(), smbios_bytes::Stream(table));
        return smbios;
    }
};

TEST_F(SmbiosTrace, NamesEachStructureAndItsStrings) {
    CSMBios smbios;
    Connect(smbios, Structure(11, 5, 0x0102, {"one", "%s%n\x1b"}) + Structure(127, 4, 3));
    EXPECT_TRUE(IsTraced({"0B 05 02 01 00" + std::string(36, ' ') + ".....",
                          "BuildStructureList  : - found struct type 11 (handle=258, len=5)",
                          "BuildStructureList  :    -> found string \"one\"",
                          "BuildStructureList  :    -> found string \"%s%n\x1b\"",
                          "7F 04 03 00" + std::string(39, ' ') + "....",
                          "BuildStructureList  : - found struct type 127 (handle=3, len=4)",
                          "BuildStructureList  :   end of BIOS structures!",
                          "BuildStructureList  : 2 SMBIOS structures found"}));
    smbios.Disconnect();
    EXPECT_TRUE(IsTraced({"CSMBios (Disconnect): Disconnected"}));
}

TEST_F(SmbiosTrace, PutsAFatalErrorBetweenRules) {
    CSMBios smbios;
    Connect(smbios, Structure(11, 5) + "\x0C\x10\x01\x00tail"s);
    const std::string error =
        "## FATAL ERROR! SMBIOS structure pointer exceeds structure table end while going to "
        "struct end!\n   struct[1], last type=0x0C, last handle=1\n   struct Offset 0x0007";
    EXPECT_EQ(smbios.GetLastError(), error);
    const std::string log = ReadFile(std::string(paths::kTraceDirectory) + "/log.zentd");
    const std::string rule(116, '-');
    EXPECT_NE(log.find(" " + rule + "\n"), std::string::npos);
    EXPECT_EQ(log.find(rule + "-"), std::string::npos);
    EXPECT_NE(log.find(error + "\n"), std::string::npos);
    EXPECT_LT(log.find(rule), log.find(error));
    EXPECT_LT(log.find(error), log.find("   p = 0x"));
    EXPECT_LT(log.find("   p = 0x"), log.rfind(rule));
}

TEST_F(SmbiosTrace, NamesTheStructureThatIsSkipped) {
    CSMBios smbios;
    Connect(smbios, Structure(11, 5) + "\x05\0\0"s);
    EXPECT_EQ(TextsWith("it is skipped"),
              std::vector{"BuildStructureList  : ## ERROR! The table ends in the header of "
                          "struct[1], type=0x05; it is skipped"s});
}

TEST_F(SmbiosTrace, TellsACountThatDiffersFromTheEntryPoints) {
    const struct {
        std::uint16_t Count;
        std::string Table;
        std::vector<std::string> Complaints;
    } rows[] = {
        {2, Structure(1) + Structure(127), {}},
        // With a byte behind type 127 one more is found; the message has the true number.
        {3, Structure(1) + Structure(127) + "x", {}},
        {2, Structure(1) + Structure(127) + "x", {"(2)", "(2)"}},
        {9, Structure(1) + Structure(127), {"(1)", "(9)"}},
    };
    for (const auto& row : rows) {
        const std::string entry = smbios_bytes::EntryPoint21(
            0x4000, static_cast<std::uint16_t>(row.Table.size()), row.Count);
        std::string memory(0x100000, '\0');
        memory.replace(0xE0000, entry.size(), entry);
        memory.replace(0x4000, row.Table.size(), row.Table);
        WriteFile(paths::kMemoryDevice, memory);
        const std::size_t before = TextsWith("Number of SMBIOS structures found").size();
        CSMBios smbios;
        EXPECT_TRUE(smbios.Connect());
        EXPECT_EQ(smbios.GetStructureCount(), row.Count);
        const auto complaints = TextsWith("Number of SMBIOS structures found");
        ASSERT_EQ(complaints.size(), before + (row.Complaints.empty() ? 0 : 1));
        if (!row.Complaints.empty()) {
            EXPECT_EQ(complaints.back(),
                      "BuildStructureList  : ## ERROR! Number of SMBIOS structures found " +
                          row.Complaints[0] + " does not match to number in header " +
                          row.Complaints[1] + "!");
        }
    }
}

}  // namespace

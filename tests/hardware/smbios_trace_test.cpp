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
    void Connect(const std::string& table) {
        (void)m_Smbios.ConnectCopy(CDataStream(), smbios_bytes::Stream(table));
    }
    CSMBios m_Smbios;
};

TEST_F(SmbiosTrace, NamesEachStructureAndItsStrings) {
    Connect(Structure(11, 5, 0x0102, {"one", "%s%n"}) + Structure(127, 4, 3));
    m_Smbios.Disconnect();
    EXPECT_TRUE(IsTraced({"0B 05 02 01 00" + std::string(36, ' ') + ".....",
                          "BuildStructureList  : - found struct type 11 (handle=258, len=5)",
                          "BuildStructureList  :    -> found string \"one\"",
                          "BuildStructureList  :    -> found string \"%s%n\"",
                          "7F 04 03 00" + std::string(39, ' ') + "....",
                          "BuildStructureList  : - found struct type 127 (handle=3, len=4)",
                          "BuildStructureList  :   end of BIOS structures!",
                          "BuildStructureList  : 2 SMBIOS structures found",
                          "CSMBios (Disconnect): Disconnected"}));
}

TEST_F(SmbiosTrace, PutsAFatalErrorBetweenRules) {
    Connect(Structure(11, 5) + "\x0C\x10\x01\x00tail"s);
    const std::string error =
        "## FATAL ERROR! SMBIOS structure pointer exceeds structure table end while going to "
        "struct end!\n   struct[1], last type=0x0C, last handle=1\n   struct Offset 0x0007";
    EXPECT_EQ(m_Smbios.GetLastError(), error);
    const std::string log = ReadFile(std::string(paths::kTraceDirectory) + "/log.zentd");
    const std::string rule(116, '-');
    const std::size_t begin = log.find(" " + rule + "\n");
    const std::size_t text = log.find(error + "\n", begin);
    const std::size_t pointer = log.find("   p = 0x", text);
    EXPECT_NE(log.find(rule + "\n", pointer), std::string::npos);
}

TEST_F(SmbiosTrace, NamesTheStructureThatIsSkipped) {
    Connect(Structure(11, 5) + "\x05\0\0"s);
    EXPECT_EQ(TextsWith("it is skipped"),
              std::vector{"BuildStructureList  : ## ERROR! The table ends in the header of "
                          "struct[1], type=0x05; it is skipped"s});
}

TEST_F(SmbiosTrace, TellsACountThatDiffersFromTheEntryPoints) {
    const std::string text = "Number of SMBIOS structures found";
    const struct {
        std::uint16_t Count;
        std::string Table;
        std::string Complaint;
    } rows[] = {
        {2, Structure(1) + Structure(127), ""},
        // With a byte behind type 127 one more is found; the message has the true number.
        {3, Structure(1) + Structure(127) + "x", ""},
        {2, Structure(1) + Structure(127) + "x", " (2) does not match to number in header (2)!"},
        {9, Structure(1) + Structure(127), " (1) does not match to number in header (9)!"},
    };
    for (const auto& row : rows) {
        const std::size_t before = TextsWith(text).size();
        WriteShadow(smbios_bytes::EntryPoint21(0x4321, static_cast<std::uint16_t>(row.Table.size()),
                                               row.Count),
                    row.Table);
        CSMBios smbios;
        EXPECT_TRUE(smbios.Connect());
        EXPECT_EQ(smbios.GetStructureCount(), row.Count);
        const auto complaints = TextsWith(text);
        ASSERT_EQ(complaints.size(), before + (row.Complaint.empty() ? 0 : 1));
        if (!row.Complaint.empty()) {
            EXPECT_EQ(complaints.back(), "BuildStructureList  : ## ERROR! " + text + row.Complaint);
        }
    }
}

}  // namespace

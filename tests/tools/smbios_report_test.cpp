// What is shown of a structure table, whatever bytes the firmware put there.
#include "tools/smbios_report.h"

#include <gtest/gtest.h>

#include "tests/hardware/smbios_bytes.h"

namespace {

using json_text::Json;
using smbios_bytes::Structure;

struct Connection {
    CSMBios Smbios;
    bool IsComplete;

    explicit Connection(const std::string& table)
        : IsComplete(Smbios.ConnectCopy(smbios_bytes::Stream(smbios_bytes::EntryPoint30(0, 0)),
                                        smbios_bytes::Stream(table))) {}
    [[nodiscard]] Json Describe(tools::WantedType type = {}) const {
        return Json::parse(json_text::Dump(tools::DescribeSmbios(Smbios, IsComplete, type)));
    }
};

TEST(SmbiosReport, HasTheDocumentedLayout) {
    const Connection connection(Structure(11, 5, 0x0201, {"one", "\xC3\xA4"}) + Structure(127) +
                                "behind");
    EXPECT_EQ(connection.Describe(11), Json::parse(R"({
        "version": 1, "smbios": {"major": 3, "minor": 4}, "entry_point_bytes": 24,
        "table_bytes": 25, "structure_count": 3, "complete": true, "error": null,
        "structures": [{"handle": 513, "type": 11, "name": "OEM Strings", "offset": 0, "length": 5,
                        "data": "0b05010200", "strings": ["one", "\u00e4"]}]})"));
    EXPECT_EQ(connection.Describe()["structures"].size(), 2U);
    EXPECT_TRUE(connection.Describe(9)["structures"].empty());
}

TEST(SmbiosReport, IsValidJsonForAnyBytesAndATableThatBreaksOff) {
    std::string all;
    for (int byte = 1; byte < 256; ++byte) {
        all += static_cast<char>(byte);
    }
    const Connection connection(Structure(200, 4, 1, {all, "\xC3", "%n\"\\\x1b[2J"}) +
                                "\x02\x05\x07");
    const Json json = connection.Describe();
    EXPECT_FALSE(json["complete"]);
    EXPECT_NE(json["error"].get<std::string>().find("FATAL"), std::string::npos);
    ASSERT_EQ(json["structures"].size(), 1U) << "the head of the second one is cut off";
    const Json structure = json["structures"][0];
    EXPECT_EQ(structure["name"], "OEM-specific");
    EXPECT_EQ(structure["strings"][1], "\xEF\xBF\xBD");
    EXPECT_EQ(structure["strings"][2], "%n\"\\\x1b[2J");
    EXPECT_EQ(structure["strings_hex"][1], "c3");  // nothing is lost
    EXPECT_EQ(tools::ListSmbios(connection.Smbios, {}).at(2), "    1: " + all);
}

}  // namespace

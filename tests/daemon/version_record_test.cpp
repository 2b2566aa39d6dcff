#include "daemon/version_record.h"

#include <ctime>
#include <string>
#include <utility>

#include <gtest/gtest.h>

TEST(VersionRecord, CodesItsPartsInOneWord) {
    using Case = std::pair<std::string_view, std::uint32_t>;
    for (const auto& [text, code] : {
             Case{"4.20-03", 0x00041403},
             Case{"12.255-255", 0x000CFFFF},
             Case{"4.20", 0x00041400},
             Case{"4", 0x00040000},
             Case{"4-3", 0x00040000},
             Case{"", 0},
             Case{"x.y-z", 0},
         }) {
        EXPECT_EQ(VersionCode(ParseVersion(text)), code) << text;
    }
}

TEST(VersionRecord, HoldsWhatTheBuildProvides) {
    EXPECT_NE(VersionCode(ParseVersion(kProgramVersion)), 0U);
    EXPECT_STRNE(kProgramMilestone, "");
    tm built{};
    const char* const rest = strptime(kProgramBuilt, "%Y/%m/%d-%H:%M", &built);
    EXPECT_STREQ(rest, "") << kProgramBuilt;
}

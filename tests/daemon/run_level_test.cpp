#include "daemon/run_level.h"

#include <climits>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>

TEST(RunLevel, IsTheNumberAtTheStartOfTheFile) {
    using Case = std::pair<std::string_view, std::optional<std::int32_t>>;
    for (const auto& [text, expected] : {
             Case{"6\n", 6},
             Case{"0", 0},
             Case{" \t\r\n\v\f3 5\n", 3},
             Case{"+6", 6},
             Case{"-6", -6},
             Case{"006x", 6},
             Case{"0x6", 0},
             Case{"99999999999999999999", INT_MAX},
             Case{"4294967296", INT_MAX},  // does not come round to 0
             Case{"-4294967296", INT_MIN},
             Case{"", {}},
             Case{" \n", {}},
             Case{"six", {}},
             Case{"+", {}},
             Case{"-", {}},
             Case{"+-6", {}},
             Case{"- 6", {}},
         }) {
        EXPECT_EQ(ParseRunLevelText(text), expected) << '"' << text << '"';
    }
}

TEST(RunLevel, OfUtmpIsTheLowByteAsCharacter) {
    using Case = std::pair<std::int32_t, std::int32_t>;
    for (const auto& [pid, expected] : {
             Case{'3', 3},
             Case{'N' * 256 + '5', 5},  // the previous run level stands in the next byte
             Case{'S', 'S' - '0'},
             Case{0, -'0'},
             Case{'/', -1},
             Case{-256 - 1, -1 - '0'},  // the remainder keeps the sign
             Case{200, 200 - 256 - '0'},
         }) {
        EXPECT_EQ(RunLevelOfUtmpPid(pid), expected) << pid;
    }
}

TEST(RunLevel, OfTheProgramIsTheCharacterBehindTheFirstBlank) {
    using Case = std::pair<std::string_view, std::int32_t>;
    for (const auto& [line, expected] : {
             Case{"N 5\n", 5},
             Case{"3 6", 6},
             Case{"5 0 9\n", 0},
             Case{"N S\n", 'S' - '0'},
             Case{" 3\n", 3},
             Case{"unknown\n", -1},
             Case{"", -1},
             Case{"N ", -1},
         }) {
        EXPECT_EQ(RunLevelOfProgramLine(line), expected) << '"' << line << '"';
    }
}

TEST(RunLevel, FileIsUsedByExactReleasesOnly) {
    for (const char* nickname : {"RHEL7", "SLES12", "OL7"}) {
        EXPECT_TRUE(HasRunLevelFile(nickname)) << nickname;
    }
    for (const char* nickname : {"", "RHEL6", "RHEL70", "rhel7", "SLES12 ", "OL"}) {
        EXPECT_FALSE(HasRunLevelFile(nickname)) << nickname;
    }
}

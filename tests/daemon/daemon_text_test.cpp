// The daemon's readers of text: command line, run level, version.
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "daemon/command_line.h"
#include "daemon/version_record.h"
#include "os/run_level.h"

TEST(CommandLine, TakesWholeOptionsBehindTheProgramsName) {
    struct Case {
        std::vector<std::string> Words;
        std::uint32_t RunMode = 0;
        std::uint32_t Flags = 0;
        bool IsForeground = false;
    };
    for (const Case& c : {
             Case{{}},  // not even a program name
             Case{{"-plexa", "-agentless"}, 5},
             Case{{"-n", "-tovin"}, 7},
             Case{{"morla", "-plexa-agentless", "-plexa"}, 8},
             Case{{"morla", "-plexa", "-plexa-agentless"}, 10},
             Case{{"morla", "-rescan", "-tovin", "-rescan"}, 7, 1},
             Case{{"morla", "-n"}, 0, 0, true},
             Case{{"morla", "unknown", "-nodemon", "-tovin"}, 7, 0, true},
             Case{{"morla", "-Plexa", "--plexa", "-plex", "-plexa ", "plexa", ""}},
             Case{{"morla", "-nodem", "--nodemon", "-N", "-n "}},
         }) {
        std::vector<std::string> words = c.Words;
        std::vector<char*> argv;
        for (std::string& word : words) {
            argv.push_back(word.data());
        }
        const auto arguments = OptionArguments(static_cast<int>(argv.size()), argv.data());
        const _ExtensionModuleLoaderConfig config = ParseCommandLine(arguments);
        EXPECT_EQ(config.RunMode, c.RunMode) << testing::PrintToString(c.Words);
        EXPECT_EQ(config.Flags, c.Flags) << testing::PrintToString(c.Words);
        EXPECT_EQ(IsForegroundWanted(arguments), c.IsForeground) << testing::PrintToString(c.Words);
    }
}

TEST(RunLevel, IsTheNumberAtTheStartOfTheFile) {
    using Case = std::pair<std::string_view, std::optional<std::int32_t>>;
    for (const auto& [text, expected] : {
             Case{" \t\r\n\v\f3 5\n", 3},
             Case{"+6", 6},
             Case{"-6", -6},
             Case{"006x", 6},
             Case{"0x6", 0},
             Case{"4294967296", INT_MAX},  // does not come round to 0
             Case{"-4294967296", INT_MIN},
             Case{" \n", {}},
             Case{"six", {}},
             Case{"+", {}},
             Case{"+-6", {}},
             Case{"- 6", {}},
         }) {
        EXPECT_EQ(ParseRunLevelText(text), expected) << '"' << text << '"';
    }
}

TEST(RunLevel, OfUtmpAndProgramIsACharacter) {
    EXPECT_EQ(RunLevelOfUtmpPid('N' * 256 + '5'), 5);  // the previous one stands in the next byte
    EXPECT_EQ(RunLevelOfUtmpPid('S'), 'S' - '0');
    EXPECT_EQ(RunLevelOfUtmpPid(-256 - 1), -1 - '0');  // the remainder keeps the sign
    EXPECT_EQ(RunLevelOfUtmpPid(200), 200 - 256 - '0');
    EXPECT_EQ(RunLevelOfProgramLine("5 0 9\n"), 0);
    EXPECT_EQ(RunLevelOfProgramLine(" 3\n"), 3);
    EXPECT_EQ(RunLevelOfProgramLine("N "), -1);
    EXPECT_EQ(RunLevelOfProgramLine("unknown\n"), -1);
}

TEST(RunLevel, FileIsUsedByExactReleasesOnly) {
    for (const char* nickname : {"RHEL7", "SLES12", "OL7"}) {
        EXPECT_TRUE(HasRunLevelFile(nickname)) << nickname;
    }
    for (const char* nickname : {"", "RHEL70", "rhel7", "SLES12 ", "OL"}) {
        EXPECT_FALSE(HasRunLevelFile(nickname)) << nickname;
    }
}

TEST(VersionRecord, CodesItsPartsInOneWord) {
    EXPECT_EQ(VersionCode(ParseVersion("12.255-3")), 0x000CFF03U);
    EXPECT_EQ(VersionCode(ParseVersion("4.20")), 0x00041400U);
    EXPECT_EQ(VersionCode(ParseVersion("4-3")), 0x00040000U);
    EXPECT_EQ(VersionCode(ParseVersion("x.y-z")), 0U);
}

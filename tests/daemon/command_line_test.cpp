#include "daemon/command_line.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Words = std::vector<std::string>;

// Runs `check` on the words as main gets them.
template <typename Check>
void WithArguments(Words words, Check check) {
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    const int argc = static_cast<int>(argv.size());
    argv.push_back(nullptr);
    check(OptionArguments(argc, argv.data()));
}

}  // namespace

TEST(CommandLine, GivesRunModeAndRescanFlag) {
    struct Case {
        Words Arguments;
        std::uint32_t RunMode;
        std::uint32_t Flags;
    };
    const std::vector<Case> cases{
        {{}, 0, 0},  // not even a program name
        {{"morla"}, 0, 0},
        {{"morla", "-agentless"}, 5, 0},
        {{"morla", "-tovin"}, 7, 0},
        {{"morla", "-plexa"}, 8, 0},
        {{"morla", "-plexa-agentless"}, 10, 0},
        {{"morla", "-rescan"}, 0, 1},
        {{"morla", "-rescan", "-tovin", "-rescan"}, 7, 1},
        {{"morla", "-agentless", "-plexa"}, 8, 0},
        {{"morla", "-plexa", "-agentless"}, 5, 0},
        {{"-plexa"}, 0, 0},  // the program's own name is no option
        {{"morla", "-Plexa", "--plexa", "-plex", "-plexa ", "plexa", ""}, 0, 0},
        {{"morla", "-nodemon", "-tovin", "unknown"}, 7, 0},
    };
    for (const Case& c : cases) {
        WithArguments(c.Arguments, [&](std::span<char* const> arguments) {
            const _ExtensionModuleLoaderConfig config = ParseCommandLine(arguments);
            EXPECT_EQ(config.RunMode, c.RunMode) << testing::PrintToString(c.Arguments);
            EXPECT_EQ(config.Flags, c.Flags) << testing::PrintToString(c.Arguments);
        });
    }
}

TEST(CommandLine, StaysInTheForegroundForTheWholeOptionOnly) {
    struct Case {
        Words Arguments;
        bool IsWanted;
    };
    const std::vector<Case> cases{
        {{"morla", "-n"}, true},
        {{"morla", "-nodemon"}, true},
        {{"morla", "-tovin", "x", "-n"}, true},
        {{"-n"}, false},
        {{"morla", "-nodem"}, false},
        {{"morla", "--nodemon"}, false},
        {{"morla", "-N"}, false},
        {{"morla", "-n "}, false},
    };
    for (const Case& c : cases) {
        WithArguments(c.Arguments, [&](std::span<char* const> arguments) {
            EXPECT_EQ(IsForegroundWanted(arguments), c.IsWanted)
                << testing::PrintToString(c.Arguments);
        });
    }
}

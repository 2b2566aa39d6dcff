#include "daemon/run_level_reader.h"

#include <utmp.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "base/paths.h"
#include "tests/daemon/trace_log.h"
#include "tests/support/files.h"

namespace {

using Lines = std::vector<std::string>;
using Utmp = std::vector<std::pair<short, int>>;  // records: type and process id

class CRunLevelReaderTest : public CTraceLogTest {
protected:
    void SetUp() override {
        CTraceLogTest::SetUp();
        Remove(paths::kSystemctl);
        Remove(paths::kRunLevelFile);
        SetSystem({{RUN_LVL, '3'}}, "");
        unsetenv("HX_NICKNAME");
    }
    void TearDown() override { unsetenv("HX_NICKNAME"); }

    // Fills the utmp database, and makes a runlevel program that prints `output` unless it is
    // empty.
    static void SetSystem(const Utmp& records, const std::string& output) {
        std::string database;
        for (const auto& [type, pid] : records) {
            utmp record{};
            record.ut_type = type;
            record.ut_pid = pid;
            database.append(reinterpret_cast<const char*>(&record), sizeof record);
        }
        WriteFile(UTMP_FILE, database);
        Remove(paths::kRunLevelProgram);
        if (!output.empty()) {
            WriteFile(paths::kRunLevelProgram, "#!/bin/sh\nprintf '" + output + "'\n");
            std::filesystem::permissions(paths::kRunLevelProgram,
                                         std::filesystem::perms::owner_all);
        }
    }
};

}  // namespace

TEST_F(CRunLevelReaderTest, TakesAnyValueOfAnOlderSystem) {
    const struct {
        Utmp Records;
        std::string Program;
        std::int32_t Expected;
    } rows[] = {
        {{{BOOT_TIME, '6'}, {RUN_LVL, 'N' * 256 + '3'}, {RUN_LVL, '5'}}, "N 0\\n", 3},
        {{{USER_PROCESS, '3'}}, "N 5\\n", 5},
        {{{RUN_LVL, '/'}}, "3 0\\n", 0},  // -1 in utmp: asked again
        {{}, "N S\\nx 6\\n", 'S' - '0'},  // the first line only
        {{}, std::string(64, 'x') + " 6\\n", -1},
        {{}, std::string(62, 'x') + " 6\\n", 6},
        {{}, "", -1},
    };
    for (const auto& row : rows) {
        SetSystem(row.Records, row.Program);
        EXPECT_EQ(FindRunLevel(), row.Expected) << row.Program;
    }
    EXPECT_EQ(Texts().back(), "ZENTD-MAIN: Current RunLevel = -1");
}

TEST_F(CRunLevelReaderTest, AsksAnOlderSystemWhenTheReleaseIsUnknown) {
    WriteFile(paths::kRunLevelFile, "6");
    setenv("HX_NICKNAME", "", 1);
    EXPECT_EQ(FindRunLevel(), 3);
    setenv("HX_NICKNAME", "SLES11", 1);
    EXPECT_EQ(FindRunLevel(), 3);
    const std::string older = "ZENTD-MAIN: try to indentify runlevel on older OS";
    const std::string found = "ZENTD-MAIN: Current RunLevel = 3";
    EXPECT_EQ(TextsWith("ZENTD-MAIN"),
              (Lines{"ZENTD-MAIN: cannot identify OS (from HX_NICKNAME) on which we are running",
                     older, found, "ZENTD-MAIN: we are runing on OS \"SLES11\"", older, found}));
}

TEST_F(CRunLevelReaderTest, ReadsTheFileWhereSystemctlExists) {
    WriteFile(paths::kRunLevelFile, "6\n");
    WriteFile(paths::kSystemctl, "");
    EXPECT_EQ(FindRunLevel(), 6) << "a file that cannot be run";
    Remove(paths::kSystemctl);
    std::filesystem::create_symlink("nowhere", paths::kSystemctl);
    EXPECT_EQ(FindRunLevel(), 3) << "a link to nowhere";
    EXPECT_EQ(TextsWith("systemctl"), Lines{"ZENTD-MAIN: /usr/bin/systemctl detected on this OS"});
    setenv("HX_NICKNAME", "OL7", 1);
    Remove(paths::kRunLevelFile);
    MakeDirectories(paths::kRunLevelFile);
    EXPECT_EQ(FindRunLevel(), -1) << "a directory opens, but holds no number";
    EXPECT_TRUE(TextsWith("cannot open").empty());
}

TEST_F(CRunLevelReaderTest, TakesAMissingFileForAPlainStop) {
    setenv("HX_NICKNAME", "OL7", 1);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(FindRunLevel(), 5);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(2900));
    EXPECT_EQ(TextsWith("cannot open"),
              (Lines{"ZENTD-MAIN: cannot open /etc/quorvat/RunLevel (try 0)",
                     "ZENTD-MAIN: cannot open /etc/quorvat/RunLevel (try 1)",
                     "ZENTD-MAIN: cannot open /etc/quorvat/RunLevel (try 2)"}));
    EXPECT_EQ(TextsWith("simple stop"),
              Lines{"ZENTD-MAIN: this seems to be a simple stop of ZENTD (not OS shutdown)"});
}

#include "daemon/run_level_reader.h"

#include <utmp.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

#include "base/paths.h"
#include "tests/daemon/trace_log.h"

namespace fs = std::filesystem;

namespace {

using Lines = std::vector<std::string>;

class CRunLevelReaderTest : public CTraceLogTest {
protected:
    void SetUp() override {
        CTraceLogTest::SetUp();
        fs::remove_all(paths::kSystemctl);
        fs::create_directories(fs::path(paths::kRunLevelFile).parent_path());
        fs::remove_all(paths::kRunLevelFile);
        SetUtmp({});
        SetProgram("");
        unsetenv("HX_NICKNAME");
    }
    void TearDown() override { unsetenv("HX_NICKNAME"); }

    // Fills the utmp database with a record for each type and process id.
    static void SetUtmp(const std::vector<std::pair<short, int>>& records) {
        std::ofstream file(UTMP_FILE, std::ios::binary);
        for (const auto& [type, pid] : records) {
            utmp record{};
            record.ut_type = type;
            record.ut_pid = pid;
            file.write(reinterpret_cast<const char*>(&record), sizeof record);
        }
    }

    // Makes a runlevel program that prints `output`; none when that is empty.
    static void SetProgram(const std::string& output) {
        fs::remove(paths::kRunLevelProgram);
        if (!output.empty()) {
            std::ofstream(paths::kRunLevelProgram) << "#!/bin/sh\nprintf '" << output << "'\n";
            fs::permissions(paths::kRunLevelProgram, fs::perms::owner_all);
        }
    }
};

}  // namespace

TEST_F(CRunLevelReaderTest, TakesAnyValueOfAnOlderSystem) {
    struct Case {
        std::vector<std::pair<short, int>> Utmp;
        std::string Program;
        std::int32_t Expected;
    };
    const std::vector<Case> cases{
        {{{BOOT_TIME, '6'}, {RUN_LVL, 'N' * 256 + '3'}, {RUN_LVL, '5'}}, "N 0\\n", 3},
        {{{RUN_LVL, '6'}}, "", 6},
        {{{RUN_LVL, 'S'}}, "", 'S' - '0'},
        {{{USER_PROCESS, '3'}}, "N 5\\n", 5},
        {{{RUN_LVL, '/'}}, "3 0\\n", 0},  // -1 in utmp: asked again
        {{}, "unknown\\n", -1},
        {{}, "N S\\nx 6\\n", 'S' - '0'},  // the first line only
        {{}, std::string(64, 'x') + " 6\\n", -1},
        {{}, std::string(62, 'x') + " 6\\n", 6},
        {{}, "", -1},
    };
    for (const Case& c : cases) {
        SetUtmp(c.Utmp);
        SetProgram(c.Program);
        EXPECT_EQ(FindRunLevel(), c.Expected) << c.Program;
    }
    EXPECT_EQ(Texts().back(), "ZENTD-MAIN: Current RunLevel = -1");
}

TEST_F(CRunLevelReaderTest, AsksAnOlderSystemWhenTheReleaseIsUnknown) {
    SetUtmp({{RUN_LVL, '3'}});
    std::ofstream(paths::kRunLevelFile) << "6";
    const std::size_t before = Texts().size();
    EXPECT_EQ(FindRunLevel(), 3);
    setenv("HX_NICKNAME", "", 1);
    EXPECT_EQ(FindRunLevel(), 3);
    setenv("HX_NICKNAME", "SLES11", 1);
    EXPECT_EQ(FindRunLevel(), 3);
    const Lines texts = Texts();
    const std::string unknown =
        "ZENTD-MAIN: cannot identify OS (from HX_NICKNAME) on which we are running";
    const std::string older = "ZENTD-MAIN: try to indentify runlevel on older OS";
    const std::string found = "ZENTD-MAIN: Current RunLevel = 3";
    EXPECT_EQ(Lines(texts.begin() + static_cast<std::ptrdiff_t>(before), texts.end()),
              (Lines{unknown, older, found, unknown, older, found,
                     "ZENTD-MAIN: we are runing on OS \"SLES11\"", older, found}));
}

TEST_F(CRunLevelReaderTest, ReadsTheFileOnNamedReleases) {
    SetUtmp({{RUN_LVL, '3'}});
    for (const char* nickname : {"RHEL7", "SLES12", "OL7"}) {
        setenv("HX_NICKNAME", nickname, 1);
        std::ofstream(paths::kRunLevelFile) << "6";
        EXPECT_EQ(FindRunLevel(), 6) << nickname;
    }
    fs::remove(paths::kRunLevelFile);
    fs::create_directory(paths::kRunLevelFile);
    EXPECT_EQ(FindRunLevel(), -1) << "a directory opens, but holds no number";
    EXPECT_TRUE(TextsWith("cannot open").empty());
    EXPECT_EQ(TextsWith("reguired").size(), 3U);
}

TEST_F(CRunLevelReaderTest, ReadsTheFileWhereSystemctlExists) {
    SetUtmp({{RUN_LVL, '3'}});
    std::ofstream(paths::kRunLevelFile) << "0";
    const std::string detected = "ZENTD-MAIN: /usr/bin/systemctl detected on this OS";
    std::ofstream(paths::kSystemctl).flush();
    EXPECT_EQ(FindRunLevel(), 0) << "a file that cannot be run";
    fs::remove(paths::kSystemctl);
    fs::create_directory(paths::kSystemctl);
    EXPECT_EQ(FindRunLevel(), 0) << "a directory";
    EXPECT_EQ(TextsWith("systemctl"), (Lines{detected, detected}));
    fs::remove(paths::kSystemctl);
    fs::create_symlink("nowhere", paths::kSystemctl);
    EXPECT_EQ(FindRunLevel(), 3) << "a link to nowhere";
    EXPECT_EQ(TextsWith("systemctl").size(), 2U);
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

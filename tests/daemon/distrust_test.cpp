// What others could change of the ways by which the daemon finds programs and settings.
#include "daemon/distrust.h"

#include <sys/stat.h>

#include <cstdlib>

#include "base/paths.h"
#include "daemon/search_path.h"
#include "tests/daemon/trace_log.h"
#include "tests/support/files.h"

namespace {

using Lines = std::vector<std::string>;

class Distrust : public CTraceLogTest {
protected:
    void SetUp() override {
        CTraceLogTest::SetUp();
        m_Path = std::getenv("PATH");
        MakeDirectories("/tmp/ways/open");
        MakeDirectories("/tmp/ways/group");
        chmod("/tmp/ways/open", 0777);
        chmod("/tmp/ways/group", 0775);
    }
    void TearDown() override {
        setenv("PATH", m_Path.c_str(), 1);
        Remove("/tmp/ways");
    }

private:
    std::string m_Path;
};

TEST_F(Distrust, LeavesFoldersOutOfThePathWhereEverybodyCanPutPrograms) {
    const struct {
        const char* Before;
        std::string After;
        std::size_t Warnings;
    } rows[] = {
        {"/usr/bin:/tmp/ways/group", "/usr/bin:/tmp/ways/group", 0},
        {"/usr/bin:/tmp/ways/open:/bin", "/usr/bin:/bin", 1},
        {"/tmp/ways/open/absent/bin:/tmp:/tmp/absent", paths::kProgramPath, 3},
        {"/tmp/ways/absent/bin", "/tmp/ways/absent/bin", 0},
    };
    for (const bool isTraced : {true, false}) {
        for (const auto& row : rows) {
            const std::size_t before = TextsWith("left out of PATH: writable by everybody").size();
            setenv("PATH", row.Before, 1);
            LeaveOpenSearchFolders();
            EXPECT_EQ(std::getenv("PATH"), row.After);
            EXPECT_EQ(TextsWith("left out of PATH: writable by everybody").size() - before,
                      isTraced ? row.Warnings : 0)
                << row.Before;
        }
        unsetenv("PATH");
        LeaveOpenSearchFolders();
        EXPECT_EQ(std::getenv("PATH"), nullptr);
        SwitchTracingOff();
    }
}

TEST_F(Distrust, NamesSettingsThatOthersCanWrite) {
    const std::string folder = paths::kTraceConfigDirectory;
    MakeDirectories(folder);
    WriteFile(folder + "/one.ini", "");
    WriteFile(folder + "/other.txt", "");
    chmod((folder + "/one.ini").c_str(), 0660);
    chmod((folder + "/other.txt").c_str(), 0666);
    WarnOfConfigurationWriters();
    const Lines named = TextsWith("WARNING! trace configuration");
    EXPECT_EQ(named, (Lines{"ZENTD-MAIN: ## WARNING! trace configuration " + folder +
                            "/one.ini: can be written by group or others"}));
    SwitchTracingOff();
    WarnOfConfigurationWriters();
    WarnOfWriters("anything", (folder + "/one.ini").c_str(), PathKind::kRegularFile);
    EXPECT_EQ(TextsWith("WARNING!"), named);
    Remove(folder);
}

}  // namespace

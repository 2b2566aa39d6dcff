#include <sys/stat.h>

#include <algorithm>
#include <string>
#include <vector>

#include "os/ini_file.h"
#include "os/profile_string.h"
#include "tests/support/files.h"
#include "tests/trace/debug_fixture.h"

namespace {

using Expected = std::vector<std::string>;

constexpr char kFile[] = "/tmp/test.ini";
constexpr char kWarning[] = "WritePrivateProfileString: ## WARNING: ";

// What the profile operations write through the global trace object.
class ProfileTrace : public CDebugTest {
protected:
    void SetUp() override {
        CDebugTest::SetUp();
        Remove(kFile);
    }
    void TearDown() override {
        Debug.SetTarget(kTargetNone);
        CDebugTest::TearDown();
    }
    static void StartGlobal(unsigned int level) {
        ConfigureRing(level);
        Debug.Init("zentd");
        Debug.SetTarget(kTargetLogFile);
        Debug.PrintAlways("begin");
    }
    static Expected TextsSinceStart() {
        Expected texts = Texts(kLogFile);
        texts.erase(texts.begin(), std::find(texts.begin(), texts.end(), "begin") + 1);
        return texts;
    }
};

TEST_F(ProfileTrace, NamesACallAndItsResult) {
    StartGlobal(4);
    EXPECT_TRUE(WritePrivateProfileString("s", "k", "v", kFile));
    EXPECT_FALSE(WritePrivateProfileString("s", "none", nullptr, kFile));
    EXPECT_TRUE(WritePrivateProfileString("s", nullptr, nullptr, kFile));
    EXPECT_EQ(TextsSinceStart(),
              (Expected{"WritePrivateProfileString(s, k, v, /tmp/test.ini)",
                        "WritePrivateProfileString rc=0x0001",
                        "WritePrivateProfileString(s, none, <nil>, /tmp/test.ini)",
                        "WritePrivateProfileString rc=0x0000",
                        "WritePrivateProfileString(s, <nil>, <nil>, /tmp/test.ini)",
                        "WritePrivateProfileString rc=0x0001"}));
}

TEST_F(ProfileTrace, NamesWhatIsWrong) {
    ASSERT_EQ(mkfifo("/tmp/fifo", 0600), 0);
    StartGlobal(4);
    char buffer[8];
    EXPECT_EQ(GetPrivateProfileString("s", "k", "", buffer, sizeof buffer, kFile), 0U);
    EXPECT_EQ(GetPrivateProfileString("s", "k", "", buffer, sizeof buffer, "/tmp/fifo"), 0U);
    EXPECT_FALSE(WritePrivateProfileString(nullptr, "k", "v", kFile));
    EXPECT_FALSE(WritePrivateProfileString("s", "k", "v", nullptr));
    EXPECT_FALSE(WritePrivateProfileString("s", "k", "v", "/tmp/fifo"));
    CIniFile ini;
    ini.Flush();
    ini.Open(kFile, false);
    ini.Flush();
    const std::string warning = kWarning;
    EXPECT_EQ(
        TextsSinceStart(),
        (Expected{"GetPrivateProfileString: Cannot open /tmp/test.ini",
                  "GetPrivateProfileString: Cannot open /tmp/fifo",
                  warning + "invalid pointer to AppName", warning + "invalid pointer to FileName",
                  "WritePrivateProfileString(s, k, v, /tmp/fifo)",
                  "WritePrivateProfileString: Cannot open /tmp/fifo (errno=22: Invalid "
                  "argument)",
                  "WritePrivateProfileString rc=0x0000",
                  // Deliberate: Flush has a write's text.
                  warning + "invalid pointer to AppName"}));
    Remove("/tmp/fifo");
}

// Level 1 names a failure to append and nothing else.
TEST_F(ProfileTrace, NamesAFailureToAppendAtLevelOne) {
    StartGlobal(1);
    EXPECT_FALSE(WritePrivateProfileString("s", "k", "v", "/tmp/none/test.ini"));
    EXPECT_FALSE(WritePrivateProfileString(nullptr, "k", "v", kFile));
    EXPECT_EQ(TextsSinceStart(),
              (Expected{std::string(kWarning) + "append open error: /tmp/none/test.ini"}));
}

}  // namespace

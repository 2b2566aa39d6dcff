#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "tests/support/cancelled_thread.h"
#include "tests/support/files.h"
#include "tests/support/syslog_catcher.h"
#include "tests/trace/debug_fixture.h"

namespace {

using Strings = std::vector<std::string>;

class LogFile : public CDebugTest {
protected:
    void SetUp() override {
        CDebugTest::SetUp();
        Configure("[zentd]\nMemoryTracesFlag=0\n");  // tracing is off
    }
};

TEST_F(LogFile, HoldsOneHeaderAndOneClosingNewlinePerEntry) {
    CDebug& debug = Start();
    debug.Print(0, "dropped: there is no target");
    debug.PrintAlways(0, "kept");
    debug.SetTarget(kTargetLogFile);
    debug.Print(0, nullptr);
    debug.PrintAlways(nullptr);
    debug.Print(0, "\n\nabc");
    debug.Print(0, "\n");
    debug.Print(0, "two\nlines\n");
    debug.PrintAlways(0, "%d%%", 5);
    EXPECT_EQ(Texts(kLogFile), (Strings{"kept", "abc", "", "two", "", "5%"}));
    EXPECT_EQ(Lines(ReadFile(kLogFile))[4], "lines");
}

// " [thread]     4312 KB !zentd": what the process has at that moment, in a child its own.
TEST_F(LogFile, MemoryColumnFollowsTheProcess) {
    Configure("[zentd]\nMemoryTracesFlag=1\n");
    CDebug& debug = Start();
    debug.PrintAlways("the parent");
    const pid_t child = fork();
    if (child == 0) {
        debug.PrintAlways("before");
        constexpr std::size_t kBytes = 64U << 20U;
        void* const block = mmap(nullptr, kBytes, PROT_READ | PROT_WRITE,
                                 MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
        debug.PrintAlways("with it");
        munmap(block, kBytes);
        debug.PrintAlways("after");
        _exit(block == MAP_FAILED ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
    std::vector<long> kilobytes;
    for (const std::string& line : Lines(ReadFile(kLogFile))) {
        kilobytes.push_back(std::strtol(line.substr(line.find(']') + 1).c_str(), nullptr, 10));
    }
    ASSERT_EQ(kilobytes.size(), 4U);
    EXPECT_GT(kilobytes[0], 100);
    EXPECT_GT(kilobytes[2], kilobytes[1] + 60000);
    EXPECT_LT(kilobytes[3], kilobytes[2] - 60000);
}

TEST_F(LogFile, WrapsBehindTheStartUpPartAfterTheWriteThatExceedsTheLimit) {
    SetVariable("HX_LOG_FILE_MAX_SIZE", "1000");
    CDebug& debug = Start();
    debug.PrintAlways(0, "start-up");
    debug.SetApplInitDone();
    const std::string startUp = ReadFile(kLogFile);
    for (int i = 0; i < 20 && ReadFile(kLogFile).size() <= 1000; ++i) {
        debug.PrintAlways(0, "entry %02d %s", i, std::string(100, '.').c_str());
    }
    const std::size_t full = ReadFile(kLogFile).size();
    debug.PrintAlways(0, "behind");
    const std::string log = ReadFile(kLogFile);
    EXPECT_EQ(log.size(), full) << "a wrapped file is not cut";
    EXPECT_EQ(log.substr(0, startUp.size()), startUp);
    const std::string count = std::to_string(startUp.size());
    const std::string wrap = "------ WRAP ----- Cycle=1, CntInitEnd=" + count +
                             ", CurrentByteCnt=" + count + " (MaxCnt=1000)\n";
    EXPECT_EQ(log.substr(startUp.size(), wrap.size()), wrap) << "no entry header";
    EXPECT_EQ(log.substr(startUp.size() + wrap.size() + 49, 7), "behind\n");
}

TEST_F(LogFile, WrapsToTheBeginningDuringStartUp) {
    SetVariable("HX_LOG_FILE_MAX_SIZE", "100");
    CDebug& debug = Start();
    for (int i = 0; i < 3; ++i) {
        debug.PrintAlways(0, "%s", std::string(80, 'x').c_str());
    }
    EXPECT_TRUE(ReadFile(kLogFile).starts_with(
        "------ WRAP ----- Cycle=3, CntInitEnd=0, CurrentByteCnt=0 (MaxCnt=100)\n"));
}

TEST_F(LogFile, MayBeAsLargeAsItsLimit) {
    SetVariable("HX_LOG_FILE_MAX_SIZE", "130");
    CDebug& debug = Start();
    debug.PrintAlways(0, "%s", std::string(80, 'x').c_str());
    EXPECT_EQ(ReadFile(kLogFile).size(), 130U);
    EXPECT_EQ(ReadFile(kLogFile).find("WRAP"), std::string::npos);
    debug.PrintAlways(0, "x");
    EXPECT_TRUE(ReadFile(kLogFile).starts_with("------ WRAP ----- Cycle=1"));
}

TEST_F(LogFile, DropsWholeEntriesWhileTheFileSystemIsFull) {
    ASSERT_EQ(mount("tmpfs", "/var/log/quorvat", "tmpfs", 0, "size=64k"), 0);
    SetVariable("HX_LOG_FILE_MAX_SIZE", "1000000");
    CDebug& debug = Start();
    WriteFile("/var/log/quorvat/ballast", std::string(48 * 1024, 'b'));
    for (int i = 0; i < 100; ++i) {
        debug.PrintAlways(0, "entry %03d %s", i, std::string(900, 'x').c_str());
    }
    Strings expected = Texts(kLogFile);
    EXPECT_LT(expected.size(), 20U) << "the file system was not full";
    for (const std::string& text : expected) {
        EXPECT_EQ(text.size(), 910U) << "a torn entry";
    }
    Remove("/var/log/quorvat/ballast");
    debug.PrintAlways(0, "room again");
    expected.emplace_back("room again");
    EXPECT_EQ(Texts(kLogFile), expected);
    Stop();
    umount("/var/log/quorvat");
}

TEST_F(LogFile, TakesTheEntryOfAThreadThatIsBeingCancelled) {
    CDebug& debug = Start();
    InCancelledThread([&] { debug.PrintAlways(0, "last words"); });
    EXPECT_EQ(Texts(kLogFile), Strings{"last words"});
}

TEST_F(LogFile, LevelFollowsForcedTracing) {
    ConfigureRing(3);
    CDebug& debug = Start();
    debug.SetTarget(kTargetLogFile);
    debug.ForceMaxDebug(false);
    debug.Print(1, "off");
    debug.Print(0, "level 0");
    debug.ForceMaxDebug(true);
    debug.Print(3, "level 3");
    debug.Print(4, "above");
    EXPECT_EQ(Texts(kLogFile), (Strings{"level 0", "level 3"}));
}

TEST_F(LogFile, TellsTheSystemLogWhatItCannotDo) {
    CSyslogCatcher systemLog;
    ASSERT_EQ(mkfifo(kLogFile, 0600), 0);
    SetVariable("HX_LOG_FILE_MAX_SIZE", "10");
    Start().PrintAlways(0, "beyond the limit");
    EXPECT_TRUE(systemLog.WaitForLine(
        "ERROR: fseek failed for /var/log/quorvat/log.zentd (errno=29) --> rewind it"));

    ConfigureRing(1);
    MakeDirectories(kInitRing);
    const CDebug withoutRing("zentd");
    EXPECT_TRUE(
        systemLog.WaitForLine("ERROR: Error during initialization of the CDebug instance."));

    SetVariable("HX_LOG_RINGBUF_DIR", "/var/log/absent");
    CDebug& debug = Start();
    EXPECT_TRUE(systemLog.WaitForLine(
        "ERROR: Error during opening /var/log/absent/log.zentd --> proceed without it"));
    debug.PrintAlways(0, "nowhere");
    debug.SetApplInitDone();
    EXPECT_FALSE(Exists("/var/log/absent"));
}

}  // namespace

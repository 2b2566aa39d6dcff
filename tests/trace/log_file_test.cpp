#include <pthread.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "tests/support/syslog_catcher.h"
#include "tests/trace/debug_fixture.h"

namespace {

class LogFile : public CDebugTest {
protected:
    void SetUp() override {
        CDebugTest::SetUp();
        Configure("[zentd]\nMemoryTracesFlag=0\n");  // tracing is off
    }
};

TEST_F(LogFile, HoldsOneHeaderAndOneClosingNewlinePerEntry) {
    CDebug& debug = Start();
    debug.SetTarget(kTargetLogFile);
    debug.Print(0, nullptr);
    debug.PrintAlways(nullptr);
    debug.Print(0, "\n\nabc");
    debug.Print(0, "\n");
    debug.Print(0, "two\nlines\n");
    debug.PrintAlways(0, "%d%%", 5);
    const auto texts = Texts(kLogFile);
    ASSERT_EQ(texts.size(), 5U);
    EXPECT_EQ(texts[0], "abc");
    EXPECT_EQ(texts[1], "");
    EXPECT_EQ(texts[2], "two");
    EXPECT_EQ(texts[4], "5%");
    EXPECT_EQ(Lines(Read(kLogFile))[3], "lines");
}

TEST_F(LogFile, CutsALongMessageWithoutANote) {
    CDebug& debug = Start();
    debug.PrintAlways(0, "%s", std::string(5000, 'x').c_str());
    debug.PrintAlways(0, "next");
    EXPECT_EQ(Texts(kLogFile), (std::vector<std::string>{std::string(1024, 'x'), "next"}));
}

TEST_F(LogFile, NamesTheSourceInPlaceOfTheApplication) {
    CDebug& debug = Start();
    debug.SetTarget(kTargetLogFile);
    const auto print = [&debug](const char* format, ...) {
        va_list args;
        va_start(args, format);
        debug.ClientPrintV(format, args, "fans");
        va_end(args);
    };
    print("spin %d", 1);
    EXPECT_NE(Read(kLogFile).find("] fans          spin 1\n"), std::string::npos);
}

TEST_F(LogFile, WrapsBehindTheStartUpPartAfterTheWriteThatExceedsTheLimit) {
    SetVariable("HX_LOG_FILE_MAX_SIZE", "1000");
    CDebug& debug = Start();
    debug.PrintAlways(0, "start-up");
    debug.SetApplInitDone();
    const std::string startUp = Read(kLogFile);
    for (int i = 0; i < 20 && Read(kLogFile).size() <= 1000; ++i) {
        debug.PrintAlways(0, "entry %02d %s", i, std::string(100, '.').c_str());
    }
    const std::size_t full = Read(kLogFile).size();
    debug.PrintAlways(0, "behind");
    const std::string log = Read(kLogFile);
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
    EXPECT_EQ(Read(kLogFile).find(
                  "------ WRAP ----- Cycle=3, CntInitEnd=0, CurrentByteCnt=0 (MaxCnt=100)\n"),
              0U);
}

TEST_F(LogFile, DropsWholeEntriesWhileTheFileSystemIsFull) {
    ASSERT_EQ(mount("tmpfs", "/var/log/quorvat", "tmpfs", 0, "size=64k"), 0);
    SetVariable("HX_LOG_FILE_MAX_SIZE", "1000000");
    CDebug& debug = Start();
    std::ofstream("/var/log/quorvat/ballast") << std::string(48 * 1024, 'b') << std::flush;
    for (int i = 0; i < 100; ++i) {
        debug.PrintAlways(0, "entry %03d %s", i, std::string(900, 'x').c_str());
    }
    const std::size_t whileFull = Lines(Read(kLogFile)).size();
    std::filesystem::remove("/var/log/quorvat/ballast");
    debug.PrintAlways(0, "room again");
    const auto texts = Texts(kLogFile);
    EXPECT_LT(whileFull, 20U) << "the file system was not full";
    ASSERT_EQ(texts.size(), whileFull + 1);
    for (std::size_t i = 0; i < whileFull; ++i) {
        EXPECT_EQ(texts[i].size(), 910U) << "a torn entry";
    }
    EXPECT_EQ(texts.back(), "room again");
    Stop();
    umount("/var/log/quorvat");
}

TEST_F(LogFile, TakesTheEntryOfAThreadThatIsBeingCancelled) {
    CDebug& debug = Start();
    pthread_t thread{};
    const auto printCancelled = [](void* argument) -> void* {
        pthread_cancel(pthread_self());
        static_cast<CDebug*>(argument)->PrintAlways(0, "last words");
        pthread_testcancel();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, nullptr, printCancelled, &debug), 0);
    void* result = nullptr;
    ASSERT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_EQ(Texts(kLogFile), std::vector<std::string>{"last words"});
}

TEST_F(LogFile, AloneTakesWhatIsAlwaysPrintedWhileThereIsNoTarget) {
    CDebug& debug = Start();
    debug.Print(0, "dropped");
    debug.PrintAlways(0, "kept");
    EXPECT_EQ(Texts(kLogFile), std::vector<std::string>{"kept"});
}

TEST_F(LogFile, LevelFollowsForcedTracing) {
    ConfigureRing(3);
    CDebug& debug = Start();
    debug.SetTarget(kTargetLogFile);
    debug.ForceMaxDebug(false);
    EXPECT_FALSE(debug.IsTracingActive());
    debug.Print(1, "off");
    debug.Print(0, "level 0");
    debug.ForceMaxDebug(true);
    debug.Print(3, "level 3");
    debug.Print(4, "above");
    EXPECT_EQ(Texts(kLogFile), (std::vector<std::string>{"level 0", "level 3"}));
}

TEST_F(LogFile, TellsTheSystemLogThatItCannotWrap) {
    CSyslogCatcher systemLog;
    ASSERT_EQ(mkfifo(kLogFile, 0600), 0);
    SetVariable("HX_LOG_FILE_MAX_SIZE", "10");
    Start().PrintAlways(0, "beyond the limit");
    EXPECT_TRUE(systemLog.WaitForLine(
        "ERROR: fseek failed for /var/log/quorvat/log.zentd (errno=29) --> rewind it"));
}

TEST_F(LogFile, TellsTheSystemLogWhenTheConstructorCannotStart) {
    CSyslogCatcher systemLog;
    ConfigureRing(1);
    std::filesystem::create_directory(kInitRing);
    const CDebug debug("zentd");
    EXPECT_TRUE(
        systemLog.WaitForLine("ERROR: Error during initialization of the CDebug instance."));
}

TEST_F(LogFile, MissingDirectoryLeavesTheProcessWithoutALogFile) {
    CSyslogCatcher systemLog;
    SetVariable("HX_LOG_RINGBUF_DIR", "/var/log/absent");
    CDebug& debug = Start();
    EXPECT_TRUE(systemLog.WaitForLine(
        "ERROR: Error during opening /var/log/absent/log.zentd --> proceed without it"));
    debug.PrintAlways(0, "nowhere");
    debug.SetApplInitDone();
    EXPECT_FALSE(std::filesystem::exists("/var/log/absent"));
}

}  // namespace

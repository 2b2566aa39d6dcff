#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>

#include "tests/support/cancelled_thread.h"
#include "tests/support/files.h"
#include "tests/trace/debug_fixture.h"

namespace {

time_t fakeTime = 0;  // 0: the real one

}  // namespace

// Stands in for the library's clock in this program, so that no test waits for a period to pass.
extern "C" time_t time(time_t* result) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const time_t value = fakeTime != 0 ? fakeTime : now.tv_sec;
    if (result != nullptr) {
        *result = value;
    }
    return value;
}

namespace {

class Settings : public CDebugTest {
protected:
    void SetUp() override {
        CDebugTest::SetUp();
        fakeTime = 0;
    }
    static void ExpectTexts(const std::string& file, std::initializer_list<const char*> texts) {
        const std::string text = ReadFile(file);
        for (const char* part : texts) {
            EXPECT_NE(text.find(part), std::string::npos) << part;
        }
    }
};

TEST_F(Settings, DirectoryWithoutIniFilesLeavesEvenTheEnvironmentUnread) {
    SetVariable("HX_LOG_DEBUG_LEVEL", "3");
    Remove("/log.zentd");
    CDebug& debug = Start();
    EXPECT_FALSE(debug.IsTracingActive());
    debug.PrintAlways(0, "in the root directory");
    const auto texts = Texts("/log.zentd");
    EXPECT_EQ(texts.front(), "Oskaria Environment:") << "nor is the header switched off";
    EXPECT_EQ(texts.back(), "in the root directory");
    Remove("/log.zentd");
}

TEST_F(Settings, MissingDirectoryLetsTheEnvironmentApply) {
    Remove(kConfigDirectory);
    SetVariable("HX_LOG_DEBUG_LEVEL", "010");  // base 10 here
    SetVariable("TraceFileLimit", "5");
    SetVariable("HX_LOG_RINGBUF_WEIGHT", "9");
    SetVariable("HX_LOG_RINGBUF_WEIGHT_ZENTD", "1");
    SetVariable("HX_LOG_FILE_DIR", "/tmp");
    SetVariable("HX_LOG_NOHDR_TOSDTERR", "0");
    SetVariable("HX_LOG_FILE_MAX_SIZE", "77777");
    CDebug& debug = Start();
    EXPECT_TRUE(debug.IsTracingActive());
    ExpectTexts(kInitRing,
                {" KB !zentd         Trace Level                : 10\n",  // the memory column is on
                 "Ring Buffer Factor         : 2\n", "Ring Buffer Weight         : 1\n",
                 "Ring Buffer Size           : 8388608\n",
                 "Ring Buffer Directory      : /var/log/quorvat\n", "HX_LOG_FILE_DIR=/tmp\n",
                 "HX_LOG_RINGBUF_WEIGHT_ZENTD=1\n"});
    ExpectTexts(kLogFile, {"LogFile Max Size           : 77777\n"});
}

TEST_F(Settings, FileGivesThemAndTheFirstFileWithTheSectionCounts) {
    Configure("[other]\nFileDebugLevel=9\n", "a.ini");
    Configure("[GlobalDebugSettings]\nDynamicUpdate=30\n", "global_trace.ini");
    Configure(
        "[ZentD]\nFileDebugLevel=0x3\nRingBufferSizeFactor=1\nRingBufferSizeWeight=01\n"
        "NoHeaderToStderr=0\nMemoryTracesFlag=0\nRingBufferDirectory= /var/log/quorvat/x\n",
        "m.ini.saved");
    Configure("[zentd]\nFileDebugLevel=5\n", "z.ini");
    MakeDirectories("/var/log/quorvat/x");
    Start();
    const std::string log = "/var/log/quorvat/x/log.zentd";
    EXPECT_EQ(Texts(log).back(), "# End of header.");
    ExpectTexts(
        log,
        {"HX_NICKNAME=NotSet\n", "AgentPermission=NotSet\n", "HX_LOG_RINGBUF_WEIGHT_ZENTD=NotSet\n",
         "DynamicUpdate              : 30\n", "DebugLevel                 : 3\n",
         "RingBufferSizeFactor       : 1\n", "RingBufferDirectory        : /var/log/quorvat/x\n",
         "No Header to LogFile       : 0\n", "Trace Target               : 2\n",
         "Trace Level Saved          : 3\n", "Application Init Done      : 0\n",
         "LogFile Path               : /var/log/quorvat/x/log.zentd\n",
         "LogFile Max Size           : 51200\n", "Ring Buffer Size           : 4194304\n",
         "Ring Buffer Path           : /var/log/quorvat/x/log.zentd_a\n"});
}

TEST_F(Settings, UnsetOnesReadMinusOneAndMeanNoRing) {
    Configure("[zentd]\nFileDebugLevel=3\nNoHeaderToStderr=0\nMemoryTracesFlag=0\n");
    CDebug& debug = Start();
    ExpectTexts(kLogFile,
                {"RingBufferSizeFactor       : -1\n", "Trace Level                : 0\n"});
    EXPECT_FALSE(debug.IsLevelActive(1));
    EXPECT_TRUE(debug.IsTracingActive()) << "the level was not zero at the start";
    EXPECT_FALSE(Exists(kInitRing));
}

TEST_F(Settings, CommandLineGoesToLogAndRing) {
    ConfigureRing(1);
    CDebug& debug = Start();
    char name[] = "morla";
    char option[] = "-n %s";
    char* argv[] = {name, option, nullptr};
    debug.SetMainParams(0, argv);  // nothing to tell
    debug.SetMainParams(1, argv);
    std::vector<std::string> expected{"zentd Command Line Options:", "argv[0] = \"morla\""};
    EXPECT_EQ(Texts(kLogFile), expected);
    debug.SetMainParams(2, argv);
    expected.emplace_back("argv[1] = \"-n %s\"");
    std::vector<std::string> log = Texts(kLogFile);
    log.erase(log.begin(), log.begin() + 2);
    EXPECT_EQ(log, expected);
    EXPECT_EQ(NewestEntry(ReadFile(kInitRing)), expected.back());
    debug.SetApplInitDone();
    auto header = Texts(kActiveRing);
    EXPECT_EQ(std::count(header.begin(), header.end(), "Application Init Done      : 0"), 1);
    header.resize(3);
    EXPECT_EQ(header, expected);
}

TEST_F(Settings, OddFilesEndWell) {
    for (const std::string odd : {
             "mkdir a.ini",
             "mkfifo a.ini",
             "ln -s /no a.ini",
             "ln -s /dev/zero a.ini",
             "touch a.ini",
             "printf '[zentd]\\0\\377\\n[EndOfFile' >a.ini",
             "printf '[zentd]\\nFileDebugLevel=1\\n' >a.ini; dd bs=1 count=0 seek=64M of=a.ini",
             "printf '[zentd]\\nFileDebugLevel=1\\n' >a.ini; dd bs=1 count=0 seek=1T of=a.ini",
         }) {
        SetUp();
        ASSERT_EQ(std::system(("exec 2>&1; cd " + (kConfigDirectory + ("; " + odd))).c_str()), 0);
        ConfigureRing(2);  // the next file in order
        EXPECT_TRUE(Start().IsLevelActive(2)) << odd;
        Stop();
    }
}

class DynamicUpdate : public Settings {
protected:
    // Starts with a period of 30 seconds; the first check is made by the first Print.
    CDebug& StartWatching() {
        Configure("[GlobalDebugSettings]\nDynamicUpdate=30\n", "global_trace.ini");
        ConfigureRing(1);
        fakeTime = 1'000'000;
        CDebug& debug = Start();
        debug.Print(1, "first");
        return debug;
    }
    // Writes the file again with a later modification time.
    static void Rewrite(const char* file, std::string_view text) {
        Configure(text, file);
        const auto path = std::filesystem::path(kConfigDirectory) / file;
        std::filesystem::last_write_time(
            path, std::filesystem::last_write_time(path) + std::chrono::seconds(++m_Rewrites));
    }
    static inline int m_Rewrites = 0;
};

TEST_F(DynamicUpdate, TakesEffectWithTheFirstPrintAfterThePeriod) {
    CDebug& debug = StartWatching();
    Rewrite("zentd.ini", "[zentd]\nFileDebugLevel=4\nMemoryTracesFlag=1\n");
    fakeTime += 29;
    debug.Print(4, "too early");
    EXPECT_FALSE(debug.IsLevelActive(4));
    fakeTime += 1;
    debug.Print(4, "in time");
    EXPECT_EQ(ReadFile(kInitRing).find("too early"), std::string::npos);
    ExpectTexts(kInitRing, {" KB !zentd         in time\n"});
    debug.ForceMaxDebug(false);
    debug.ForceMaxDebug(true);
    EXPECT_TRUE(debug.IsLevelActive(4)) << "the saved level too";
}

TEST_F(DynamicUpdate, HappensAtOnceWhenTheClockIsSetBack) {
    CDebug& debug = StartWatching();
    Rewrite("zentd.ini", "[zentd]\nFileDebugLevel=4\n");
    fakeTime -= 1;
    debug.Print(0, "any");
    EXPECT_TRUE(debug.IsLevelActive(4));
}

TEST_F(DynamicUpdate, IsFinishedByAThreadThatIsBeingCancelled) {
    CDebug& debug = StartWatching();
    Rewrite("zentd.ini", "[zentd]\nFileDebugLevel=4\n");
    fakeTime += 30;
    InCancelledThread([&] { debug.Print(0, "any"); });
    EXPECT_TRUE(debug.IsLevelActive(4));
}

TEST_F(DynamicUpdate, PeriodItselfIsReadAgain) {
    CDebug& debug = StartWatching();
    Rewrite("global_trace.ini", "[GlobalDebugSettings]\nDynamicUpdate=0\n");
    Rewrite("zentd.ini", "[zentd]\nTraceFlags=1\n");
    fakeTime += 30;
    debug.Print(0, "checked");
    EXPECT_TRUE(debug.IsLevelActive(1)) << "an absent key changes nothing";
    Rewrite("zentd.ini", "[zentd]\nFileDebugLevel=4\n");
    fakeTime += 1000;
    debug.Print(0, "never again");
    EXPECT_FALSE(debug.IsLevelActive(4));
}

TEST_F(DynamicUpdate, FileThatFailsOnceIsNeverReadAgain) {
    for (const bool isVanished : {true, false}) {
        SetUp();
        CDebug& debug = StartWatching();
        Rewrite("zentd.ini", "[other]\nFileDebugLevel=4\n");
        if (isVanished) {
            Remove(std::string(kConfigDirectory) + "/zentd.ini");
        }
        fakeTime += 30;
        debug.Print(0, "checked");
        EXPECT_TRUE(debug.IsLevelActive(1)) << "the settings stay";
        Rewrite("zentd.ini", "[zentd]\nFileDebugLevel=4\n");
        fakeTime += 30;
        debug.Print(0, "checked");
        EXPECT_FALSE(debug.IsLevelActive(4));
        Stop();
    }
}

}  // namespace

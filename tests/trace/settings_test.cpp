#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <fstream>

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

    // The value on the header line of that name in a trace file; with two such lines the
    // `which`-th.
    static std::string HeaderValue(const std::string& file, const std::string& name,
                                   int which = 0) {
        for (const std::string& text : Texts(file)) {
            const std::size_t end = text.find_first_of(":=");
            if (end == std::string::npos ||
                text.substr(0, text.find_last_not_of(' ', end - 1) + 1) != name) {
                continue;
            }
            if (which-- == 0) {
                return text.substr(text[end] == ':' ? end + 2 : end + 1);
            }
        }
        return "<missing>";
    }
};

TEST_F(Settings, DirectoryWithoutIniFilesLeavesEvenTheEnvironmentUnread) {
    SetVariable("HX_LOG_DEBUG_LEVEL", "3");
    std::filesystem::remove("/log.zentd");
    CDebug& debug = Start();
    EXPECT_FALSE(debug.IsTracingActive());
    debug.PrintAlways(0, "in the root directory");
    const auto texts = Texts("/log.zentd");
    EXPECT_EQ(texts.front(), "Oskaria Environment:") << "nor is the header switched off";
    EXPECT_EQ(texts.back(), "in the root directory");
    std::filesystem::remove("/log.zentd");
}

TEST_F(Settings, MissingDirectoryLetsTheEnvironmentApply) {
    std::filesystem::remove(kConfigDirectory);
    SetVariable("HX_LOG_DEBUG_LEVEL", "010");  // base 10 here
    SetVariable("TraceFileLimit", "5");
    SetVariable("HX_LOG_RINGBUF_WEIGHT", "9");
    SetVariable("HX_LOG_RINGBUF_WEIGHT_ZENTD", "1");
    SetVariable("HX_LOG_FILE_DIR", "/tmp");
    SetVariable("HX_LOG_NOHDR_TOSDTERR", "0");
    SetVariable("HX_LOG_FILE_MAX_SIZE", "77777");
    CDebug& debug = Start();
    EXPECT_TRUE(debug.IsTracingActive());
    EXPECT_EQ(HeaderValue(kInitRing, "HX_LOG_FILE_DIR"), "<missing>") << "the memory column is on";
    const std::string ring = Read(kInitRing);
    EXPECT_NE(ring.find(" KB !zentd         Trace Level                : 10\n"), std::string::npos);
    EXPECT_NE(ring.find("Ring Buffer Factor         : 2\n"), std::string::npos);
    EXPECT_NE(ring.find("Ring Buffer Weight         : 1\n"), std::string::npos);
    EXPECT_NE(ring.find("Ring Buffer Size           : 8388608\n"), std::string::npos);
    EXPECT_NE(ring.find("Ring Buffer Directory      : /var/log/quorvat\n"), std::string::npos);
    EXPECT_NE(ring.find("HX_LOG_FILE_DIR=/tmp\n"), std::string::npos);
    EXPECT_NE(ring.find("HX_LOG_RINGBUF_WEIGHT_ZENTD=1\n"), std::string::npos);
    EXPECT_NE(Read(kLogFile).find("LogFile Max Size           : 77777\n"), std::string::npos);
}

TEST_F(Settings, FileGivesThemAndTheFirstFileWithTheSectionCounts) {
    Configure("[other]\nFileDebugLevel=9\n", "a.ini");
    Configure("[GlobalDebugSettings]\nDynamicUpdate=30\n", "global_trace.ini");
    Configure(
        "[ZentD]\nFileDebugLevel=0x3\nRingBufferSizeFactor=1\nRingBufferSizeWeight=01\n"
        "NoHeaderToStderr=0\nMemoryTracesFlag=0\nRingBufferDirectory= /var/log/quorvat/x\n",
        "m.ini.saved");
    Configure("[zentd]\nFileDebugLevel=5\n", "z.ini");
    std::filesystem::create_directory("/var/log/quorvat/x");
    Start();
    const std::string log = "/var/log/quorvat/x/log.zentd";
    const struct {
        const char* Name;
        const char* Value;
        int Which;
    } rows[] = {
        {"LD_LIBRARY_PATH", nullptr, 0},
        {"HX_NICKNAME", "NotSet", 0},
        {"AgentPermission", "NotSet", 0},
        {"TraceFileLimit", "NotSet", 0},
        {"HX_LOG_RINGBUF_WEIGHT_ZENTD", "NotSet", 0},
        {"DynamicUpdate", "30", 0},
        {"DebugLevel", "3", 0},
        {"RingBufferSizeFactor", "1", 0},
        {"RingBufferDirectory", "/var/log/quorvat/x", 0},
        {"No Header to LogFile", "0", 0},
        {"No Header to LogFile", "0", 1},
        {"Trace Target", "2", 0},
        {"Trace Level Saved", "3", 0},
        {"Application Init Done", "0", 0},
        {"LogFile Path", "/var/log/quorvat/x/log.zentd", 0},
        {"LogFile Max Size", "51200", 0},
        {"Ring Buffer Size", "4194304", 0},
        {"Ring Buffer Path", "/var/log/quorvat/x/log.zentd_a", 0},
    };
    for (const auto& row : rows) {
        if (row.Value != nullptr) {
            EXPECT_EQ(HeaderValue(log, row.Name, row.Which), row.Value) << row.Name;
        }
    }
    EXPECT_EQ(Texts(log).back(), "# End of header.");
}

TEST_F(Settings, UnsetOnesReadMinusOneAndMeanNoRing) {
    Configure("[zentd]\nFileDebugLevel=3\nNoHeaderToStderr=0\nMemoryTracesFlag=0\n");
    CDebug& debug = Start();
    EXPECT_EQ(HeaderValue(kLogFile, "RingBufferSizeFactor"), "-1");
    EXPECT_EQ(HeaderValue(kLogFile, "Trace Level"), "0");
    EXPECT_FALSE(debug.IsLevelActive(1));
    EXPECT_TRUE(debug.IsTracingActive()) << "the level was not zero at the start";
    EXPECT_FALSE(std::filesystem::exists(kInitRing));
}

TEST_F(Settings, CommandLineGoesToLogAndRing) {
    ConfigureRing(1);
    CDebug& debug = Start();
    char name[] = "morla";
    char option[] = "-n %s";
    char* argv[] = {name, option, nullptr};
    debug.SetMainParams(2, argv);
    const std::vector<std::string> expected{"zentd Command Line Options:", "argv[0] = \"morla\"",
                                            "argv[1] = \"-n %s\""};
    EXPECT_EQ(Texts(kLogFile), expected);
    EXPECT_EQ(NewestEntry(Read(kInitRing)), expected.back());
    debug.SetApplInitDone();
    const auto header = Texts(kActiveRing);
    EXPECT_EQ(std::vector<std::string>(header.begin(), header.begin() + 3), expected);
}

TEST_F(Settings, OddFilesEndWell) {
    const struct {
        const char* Name;
        void (*Make)(const std::filesystem::path&);
    } rows[] = {
        {"a directory",
         [](const auto& path) {
             std::filesystem::create_directory(path);
         }},
        {"a FIFO",
         [](const auto& path) {
             mkfifo(path.c_str(), 0600);
         }},
        {"a dangling link",
         [](const auto& path) {
             std::filesystem::create_symlink("/no", path);
         }},
        {"empty",
         [](const auto& path) {
             std::ofstream(path) << "";
         }},
        {"binary",
         [](const auto& path) {
             std::ofstream(path) << std::string("[zentd]\0\xFF\n[EndOfFile", 20);
         }},
        {"64 MiB",
         [](const auto& path) {
             std::ofstream(path) << "[zentd]\nFileDebugLevel=1\n";
             std::filesystem::resize_file(path, std::uintmax_t{64} << 20U);
         }},
        {"huge",
         [](const auto& path) {
             std::ofstream(path) << "[zentd]\nFileDebugLevel=1\n";
             std::filesystem::resize_file(path, std::uintmax_t{1} << 40U);
         }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.Name);
        SetUp();
        row.Make(std::filesystem::path(kConfigDirectory) / "a.ini");
        ConfigureRing(2);  // the next file in order
        EXPECT_TRUE(Start().IsLevelActive(2));
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
    const std::string ring = Read(kInitRing);
    EXPECT_EQ(ring.find("too early"), std::string::npos);
    EXPECT_NE(ring.find(" KB !zentd         in time\n"), std::string::npos);
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
    pthread_t thread{};
    const auto printCancelled = [](void* argument) -> void* {
        pthread_cancel(pthread_self());
        static_cast<CDebug*>(argument)->Print(0, "any");
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, nullptr, printCancelled, &debug), 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
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
    const struct {
        const char* Name;
        void (*Spoil)(const std::filesystem::path&);
    } rows[] = {
        {"vanished",
         [](const auto& path) {
             std::filesystem::remove(path);
         }},
        {"broken",
         [](const auto& path) {
             std::ofstream(path) << "[zentd]\nFileDebugLevel=4\n";  // no end section
             std::filesystem::last_write_time(
                 path, std::filesystem::last_write_time(path) + std::chrono::seconds(1000));
         }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.Name);
        SetUp();
        CDebug& debug = StartWatching();
        row.Spoil(std::filesystem::path(kConfigDirectory) / "zentd.ini");
        fakeTime += 30;
        debug.Print(0, "checked");
        EXPECT_TRUE(debug.IsLevelActive(1)) << "the settings stay";
        m_Rewrites += 2000;
        Rewrite("zentd.ini", "[zentd]\nFileDebugLevel=4\n");
        fakeTime += 30;
        debug.Print(0, "checked");
        EXPECT_FALSE(debug.IsLevelActive(4));
        Stop();
    }
}

}  // namespace

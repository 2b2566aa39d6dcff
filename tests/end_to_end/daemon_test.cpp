#include <sys/stat.h>
#include <unistd.h>
#include <utmp.h>

#include <algorithm>
#include <csignal>
#include <ctime>
#include <filesystem>

#include "tests/daemon/recording_switch.h"
#include "tests/end_to_end/daemon_fixture.h"
#include "tests/support/files.h"
#include "tests/support/wait_for.h"

namespace {

// SIGHUP, SIGINT, SIGALRM and SIGTERM are blocked before the switch is loaded.
constexpr char kStarted[] = "StartAllModules blocked=0x6003";

// What a process has made of its surroundings: session, directory, umask and ignored signals.
void ExpectDaemonSurroundings(pid_t pid) {
    EXPECT_EQ(getsid(pid), pid);
    const std::string folder = "/proc/" + std::to_string(pid);
    EXPECT_EQ(std::filesystem::read_symlink(folder + "/cwd"), "/");
    const std::string status = ReadFile(folder + "/status");
    EXPECT_NE(status.find("\nUmask:\t0026\n"), std::string::npos) << "deliberate, decimal 22";
    const auto ignored = std::stoull(status.substr(status.find("\nSigIgn:") + 8), nullptr, 16);
    EXPECT_EQ(ignored & 0x10001000U, 0x10001000U) << "SIGPIPE, SIGIO";
}

bool IsBanner(const std::string& text) {
    tm time{};
    const char* const rest = strptime(
        text.c_str(),
        R"(morla Version="4.20-03" Milestone="-" Built="%Y/%m/%d-%H:%M" Start="%b %d %H:%M:%S")",
        &time);
    return rest != nullptr && *rest == '\0';
}

}  // namespace

TEST_F(CDaemonTest, RunsInTheBackgroundUntilTheSystemReboots) {
    std::filesystem::create_directory("/usr/bin/systemctl");  // counts: it exists
    WriteFile(kRunLevelFile, "6\n");
    const pid_t parent = Spawn({"-rescan"});
    EXPECT_EQ(WaitForEnd(parent), 0);
    EXPECT_EQ(StandardError(), "");
    const pid_t daemon = WaitForStart();
    EXPECT_NE(daemon, parent);
    ExpectDaemonSurroundings(daemon);
    EXPECT_EQ(ReadFile(kLockFile), "zentd#" + std::to_string(parent)) << "taken before the fork";
    struct stat status {};
    ASSERT_EQ(stat(kPidFile, &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);

    Lines start = DaemonTexts(kInitRing);
    // Who can write the folders above this checkout is not the daemon's doing.
    std::erase_if(start, [](const std::string& line) {
        return line.starts_with("ZENTD-MAIN: ## WARNING! switch library ");
    });
    ASSERT_GE(start.size(), 3U);
    EXPECT_TRUE(IsBanner(start[2])) << start[2];
    start.erase(start.begin() + 2);
    const Lines expectedStart{
        "ZENTD-MAIN::ParseCommandLine   : RESCAN due to -rescan",
        "ZENTD-MAIN: RUN MODE: 0",
        "ZENTD-MAIN: running as x86_64 (64-Bit) process; Build on SLES11 GA x86_64 (64-Bit)",
        "ZENTD-MAIN: Syslog zentd openend,",
        "ZENTD-MAIN::DiscoverSmbusDriverInfo: cannot open /dev/pci/smbus (errno=2: No such file "
        "or directory)",
        "ZENTD-MAIN: INFO: smbus-driver is not available on this OS (But, don't worry about this, "
        "it might be OK on some OS systems!)",
        "ZENTD-MAIN: Load extension modules ...",
        "SWITCH API          : Loading modules, force rescan = 1",
        "ZENTD-MAIN: ... extension modules loaded",
        "ZENTD-MAIN: Start all modules  ...",
        "ZENTD-MAIN: ... all modules started",
        "ZENTD-MAIN: ## Done initializing ##",
    };
    EXPECT_EQ(start, expectedStart);

    kill(daemon, SIGTERM);
    EXPECT_EQ(WaitForEnd(daemon), 0);
    const Lines expectedStop{
        "ZENTD-MAIN:  Waiting for signals...",
        "ZENTD-MAIN:  ... got signal 15",
        "ZENTD-MAIN: Signal 15 caught -> processing",
        "ZENTD-MAIN: cannot identify OS (from HX_NICKNAME) on which we are running",
        "ZENTD-MAIN: /usr/bin/systemctl detected on this OS",
        "ZENTD-MAIN: OS shutdown reguired: RunLevel = 6 from /etc/quorvat/RunLevel",
        "ZENTD-MAIN: Current RunLevel = 6",
        "ZENTD-MAIN: ## Someone signaled exit state ##",
        "ZENTD-MAIN::OnExitService      : Stopping all modules...",
        "ZENTD-MAIN::OnExitService      : ... all modules stopped",
        "ZENTD-MAIN::OnExitService      : Start unload of all registered extension modules ...",
        "SWITCH API          : Unloading modules...",
        "ZENTD-MAIN::OnExitService      : ... unload of all registered extension modules "
        "completed!",
        "ZENTD-MAIN: ## EXIT PROCESS ZENTD ##",
    };
    EXPECT_EQ(DaemonTexts(kActiveRing), expectedStop);
    const Lines expectedCalls{
        "SW_QueryInterface 0",
        "LoadModules flags=1 mode=0",
        kStarted,
        "Notify 0x20000 null 0",
        "Notify 0x30000 6 0",
        "StopAllModules",
        "UnloadModules 0",
        "SW_Release",
        "deleted",
        "closed pid-file=1 lock=1",
    };
    EXPECT_EQ(SwitchCalls(), expectedCalls);
    EXPECT_FALSE(Exists(kPidFile) || Exists(kLockFile));
}

TEST_F(CDaemonTest, RunsInTheForegroundOnRequest) {
    SetVariable("HX_NICKNAME", "OL7");
    WriteFile(kRunLevelFile, "0");
    const pid_t daemon = Spawn({"-tovin", "-nodemon"});
    EXPECT_EQ(WaitForStart(), daemon);
    EXPECT_EQ(StandardError(), "called-so: ZENTD-MAIN: started in \"No Demon\" Mode\n");
    EXPECT_EQ(ReadFile(kLockFile), "zentd#" + std::to_string(daemon));
    ExpectDaemonSurroundings(daemon);
    kill(daemon, SIGINT);
    EXPECT_EQ(WaitForEnd(daemon), 0);
    EXPECT_EQ(SwitchCalls()[4], "Notify 0x30000 0 0");
}

TEST_F(CDaemonTest, TakesTheLastOfSeveralModes) {
    EXPECT_EQ(Start({"-tovin", "-plexa-agentless", "-agentless", "-plexa"}), 0);
    const pid_t daemon = WaitForStart();
    EXPECT_EQ((ReadFile(kLogFile) + ReadFile(kInitRing)).find("smbus"), std::string::npos)
        << "no driver in other modes";
    EXPECT_EQ(SwitchCalls()[1], "LoadModules flags=0 mode=8");
    Lines texts = DaemonTexts(kInitRing);
    texts.resize(5);
    EXPECT_EQ(texts,
              (Lines{
                  "ZENTD-MAIN::ParseCommandLine   : TOVIN mode due to -tovin",
                  "ZENTD-MAIN::ParseCommandLine   : MORLA_PLEXA mode due to -plexa-agentless",
                  "ZENTD-MAIN::ParseCommandLine   : Agentsless mode due to -agentless",
                  "ZENTD-MAIN::ParseCommandLine   : PLEXA mode due to -plexa",
                  "ZENTD-MAIN: RUN MODE: 8",
              }));
    // An older system whose utmp tells run level 3.
    utmp record{};
    record.ut_type = RUN_LVL;
    record.ut_pid = '3';
    WriteFile(UTMP_FILE, {reinterpret_cast<const char*>(&record), sizeof record});
    kill(daemon, SIGTERM);
    EXPECT_EQ(WaitForEnd(daemon), 0);
    EXPECT_NE(ReadFile(kLogFile).find("Current RunLevel = 3\n"), std::string::npos);
    EXPECT_EQ(SwitchCalls()[4], "StopAllModules") << "one notice";
}

TEST_F(CDaemonTest, RefusesASecondInstance) {
    ASSERT_EQ(Start(), 0);
    const pid_t daemon = WaitForPid();
    const std::string lockText = ReadFile(kLockFile);
    for (const Lines& arguments : {Lines{}, Lines{"-n"}}) {
        EXPECT_EQ(Start(arguments), 1);
        EXPECT_EQ(StandardError(),
                  "called-so: ZENTD-MAIN: Error! Another process instance is already running!\n");
        EXPECT_EQ(ReadFile(kLockFile), lockText);
        EXPECT_EQ(WaitForPid(), daemon);
    }
}

TEST_F(CDaemonTest, TakesOverTheLockOfAKilledInstance) {
    const pid_t killed = Spawn({"-n"});
    WaitForPid();
    kill(killed, SIGKILL);
    EXPECT_EQ(WaitForEnd(killed), -SIGKILL);
    EXPECT_EQ(ReadFile(kLockFile), "zentd#" + std::to_string(killed));
    Remove(kPidFile);
    const pid_t second = Spawn({"-n"});
    EXPECT_EQ(WaitForPid(), second);
    EXPECT_EQ(ReadFile(kLockFile), "zentd#" + std::to_string(second));
}

TEST_F(CDaemonTest, DoesNotStartForAnyoneButRoot) {
    // The effective user stays: it is the real one that counts.
    const pid_t child = Spawn({"-n"}, [] {
        if (setresuid(65534, 0, 0) != 0) {
            _exit(77);
        }
    });
    const int result = WaitForEnd(child);
    if (result == 77) {
        GTEST_SKIP() << "no other user in this namespace";
    }
    EXPECT_EQ(result, 1);
    EXPECT_EQ(StandardError(), "called-so: ZENTD-MAIN: Error! Permission denied\n");
    EXPECT_FALSE(Exists(kLockFile));
    EXPECT_FALSE(Exists(kLogFile));
}

TEST_F(CDaemonTest, GivesUpWhenItCannotFork) {
    Preload();
    EXPECT_EQ(Start(), 1);
    EXPECT_EQ(StandardError(),
              "called-so: ZENTD-MAIN: Error! Cannot fork --> no demon !!!: Resource temporarily "
              "unavailable\n");
    EXPECT_FALSE(Exists(kLockFile));
}

TEST_F(CDaemonTest, EndsWithoutASwitchObject) {
    const Lines asked{"SW_QueryInterface 0", "closed pid-file=0 lock=1"};
    const Lines deleted{asked[0], asked[1], "deleted"};
    const struct {
        const char* Folder;
        const char* Misbehaviour;
        Lines Calls;
    } rows[] = {
        {MORLA_BARE_SWITCH_FOLDER, "", {}},
        {MORLA_SWITCH_FOLDER, "no-object", asked},
        {MORLA_SWITCH_FOLDER, "refuse", deleted},
        {MORLA_SWITCH_FOLDER, "low-byte", deleted},
        {MORLA_SWITCH_FOLDER, "throw-first", deleted},
        {"", "", {}},
    };
    std::string texts;
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.Folder) + row.Misbehaviour);
        SetVariable("LD_LIBRARY_PATH", row.Folder);
        SetVariable("MORLA_TEST_SWITCH", row.Misbehaviour);
        Remove(kSwitchCallsFile);
        EXPECT_EQ(Start({"-n"}), 1);
        EXPECT_EQ(SwitchCalls(), row.Calls);
        EXPECT_EQ(DaemonTexts(kInitRing).back(),
                  "ZENTD-MAIN: FATAL ERROR! Server Control SWITCH could not be loaded!");
        EXPECT_FALSE(Exists(kPidFile) || Exists(kLockFile));
        texts += ReadFile(kInitRing);
    }
    EXPECT_NE(texts.find("SWITCH DLL - Exception during QueryInterface\n"), std::string::npos);
    EXPECT_NE(texts.find("LoadLibrary: ## ERROR:  libswitch.so: cannot open shared object file: "
                         "No such file or directory\n"),
              std::string::npos);
}

TEST_F(CDaemonTest, IdlesWithoutModulesAndKeepsAnEarlySignal) {
    SetVariable("HX_NICKNAME", "OL7");
    WriteFile(kRunLevelFile, "3");
    const std::string load = "SWITCH API          : Loading modules, force rescan = 1";
    const std::string unload = "SWITCH API          : Unloading modules...";
    for (const auto& [misbehaviour, expected] :
         {std::pair<std::string, Lines>{"fail", {load, unload}},
          {"throw",
           {load, "SWITCH DLL - Exception during LoadModules",
            "SWITCH API          : ## ERROR! Loading modules FAILED!", unload,
            "SWITCH DLL - Exception during UnloadModules",
            "SWITCH API          : ## ERROR! Unloading modules FAILED!"}}}) {
        SCOPED_TRACE(misbehaviour);
        Remove(kPidFile);
        Remove(kSwitchCallsFile);
        SetVariable("MORLA_TEST_SWITCH", misbehaviour);
        ASSERT_EQ(Start(), 0);
        // During the start: the signal waits for the loop.
        const pid_t daemon = WaitForPid();
        kill(daemon, SIGTERM);
        EXPECT_EQ(WaitForEnd(daemon), 0);
        Lines texts = DaemonTexts(kInitRing);
        EXPECT_EQ(texts.at(texts.size() - 2), "ZENTD-MAIN: ERROR! Load extension modules FAILED!");
        const Lines stop = DaemonTexts(kActiveRing);
        texts.insert(texts.end(), stop.begin(), stop.end());
        std::erase_if(texts, [](const std::string& t) { return !t.starts_with("SWITCH"); });
        EXPECT_EQ(texts, expected);
        EXPECT_EQ(SwitchCalls(),
                  (Lines{"SW_QueryInterface 0", "LoadModules flags=0 mode=0",
                         "Notify 0x20000 null 0", "StopAllModules", "UnloadModules 0", "SW_Release",
                         "deleted", "closed pid-file=1 lock=1"}));
        EXPECT_NE(ReadFile(kLogFile).find("Current RunLevel = -1\n"), std::string::npos);
    }
}

TEST_F(CDaemonTest, TakesAFailingWaitForSigterm) {
    Preload();
    SetVariable("FAKE_SIGNAL", "-22");
    EXPECT_EQ(Start({"-n"}), 0);
    const Lines texts = DaemonTexts(kLogFile);
    const Lines expected{
        "ZENTD-MAIN: ## ERROR sigwait() failed (ret=22) ##",
        "ZENTD-MAIN: ## ERROR This is Operating System BUG, since sigwait() should never return an "
        "error !!! ##",
        "ZENTD-MAIN: ## ERROR We do so as if SIGTERM has been sent to this process) --> Do "
        "Shutdown !!! ##",
        "ZENTD-MAIN: Signal 15 caught -> processing",
    };
    EXPECT_NE(std::search(texts.begin(), texts.end(), expected.begin(), expected.end()),
              texts.end());
    SetVariable("FAKE_SIGNAL", "10");
    EXPECT_EQ(Start({"-n"}), -SIGABRT);
    EXPECT_EQ(DaemonTexts(kLogFile).back(), "ZENTD-MAIN: Unexpected Signal 10 caught -> ABORT");
    EXPECT_EQ(SwitchCalls().back(), "Notify 0x20000 null 0") << "after the stop was announced";
}

TEST_F(CDaemonTest, FlipsTracingForEachHangUp) {
    ASSERT_EQ(Start(), 0);
    const pid_t daemon = WaitForStart();
    kill(daemon, SIGHUP);
    WaitForLog("Trace reset due to SIGHUP");
    kill(daemon, SIGALRM);
    WaitForLog("ZENTD-MAIN: WARNING: Signal 14 (SIGALRM) caught -> ignoring");
    kill(daemon, SIGHUP);
    WaitForLog("Trace forced due to SIGHUP");
    kill(daemon, SIGPIPE);
    kill(daemon, SIGIO);
    kill(daemon, SIGALRM);
    EXPECT_TRUE(WaitUntil([] { return DaemonTexts(kLogFile).back().ends_with("ignoring"); },
                          "/var/log/quorvat"));
}

TEST_F(CDaemonTest, LendsItsTraceObjectToLibraries) {
    SetVariable("MORLA_TEST_LIBRARIES", MORLA_SLOT_CALLER ":" MORLA_DIRECT_CALLER);
    ASSERT_EQ(Start(), 0);
    WaitForStart();
    EXPECT_EQ(SwitchCalls(), (Lines{"SW_QueryInterface 0", "LoadModules flags=0 mode=0", kStarted}))
        << "both libraries were loaded with every symbol bound";
    const std::string log = ReadFile(kLogFile);
    const std::string ring = ReadFile(kInitRing);
    for (const char* text :
         {"zentd         slot caller: PrintAlways 2\n",
          "zentd         slot caller: PrintAlways with level 3\n",
          "zentd         slot caller: is the master\n",
          "zentd         direct caller: PrintAlways 2\n",
          "zentd         direct caller: PrintAlways with level 3\n",
          "direct        direct caller: list 4\n",
          "zentd         direct caller: master 1, level 1 1, level 7 0, active 1\n"}) {
        EXPECT_NE(log.find(text), std::string::npos) << text;
    }
    for (const char* text :
         {"zentd         slot caller: Print 1\n", "zentd         direct caller: Print 1\n",
          "client        direct caller: list 4\n", "zentd         direct caller: list 4\n"}) {
        EXPECT_NE(ring.find(text), std::string::npos) << text;
        EXPECT_EQ(log.find(text), std::string::npos) << text;
    }
}

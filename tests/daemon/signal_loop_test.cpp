// Signals are played by this program's own sigwait.
#include "daemon/signal_loop.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>

#include "base/paths.h"
#include "daemon/exit_event.h"
#include "tests/daemon/loaded_switch.h"
#include "tests/daemon/trace_log.h"
#include "trace/debug.h"

namespace fs = std::filesystem;

namespace {

using Lines = std::vector<std::string>;

// What sigwait gives next: a signal, or an error as a negative number.
std::deque<int> g_Signals;

}  // namespace

extern "C" int sigwait(const sigset_t* /*set*/, int* signal) {
    if (g_Signals.empty()) {
        std::abort();  // the loop should have ended
    }
    const int next = g_Signals.front();
    g_Signals.pop_front();
    if (next < 0) {
        return -next;
    }
    *signal = next;
    return 0;
}

namespace {

class CSignalLoopTest : public CTraceLogTest {
protected:
    void SetUp() override {
        CTraceLogTest::SetUp();
        setenv("HX_NICKNAME", "OL7", 1);
        fs::create_directories(fs::path(paths::kRunLevelFile).parent_path());
        std::ofstream(paths::kRunLevelFile) << "3\n";
        ExitEvent.Reset();
    }
    void TearDown() override {
        ExitEvent.Reset();
        unsetenv("HX_NICKNAME");
    }

    // The daemon's own texts of a run of the loop.
    Lines Run(std::deque<int> signals) {
        const std::size_t before = Texts().size();
        g_Signals = std::move(signals);
        RunSignalLoop(m_Api);
        EXPECT_TRUE(g_Signals.empty());
        Lines texts = Texts();
        texts.erase(texts.begin(), texts.begin() + static_cast<std::ptrdiff_t>(before));
        std::erase_if(texts, [](const std::string& t) { return !t.starts_with("ZENTD"); });
        return texts;
    }

    CSwitchApi m_Api;
};

}  // namespace

TEST_F(CSignalLoopTest, TakesAFailingWaitForSigterm) {
    const Lines expected{
        "ZENTD-MAIN:  Waiting for signals...",
        "ZENTD-MAIN: ## ERROR sigwait() failed (ret=22) ##",
        "ZENTD-MAIN: ## ERROR This is Operating System BUG, since sigwait() should never return an "
        "error !!! ##",
        "ZENTD-MAIN: ## ERROR We do so as if SIGTERM has been sent to this process) --> Do "
        "Shutdown !!! ##",
        "ZENTD-MAIN: Signal 15 caught -> processing",
        "ZENTD-MAIN: we are runing on OS \"OL7\"",
        "ZENTD-MAIN: OS shutdown reguired: RunLevel = 3 from /etc/quorvat/RunLevel",
        "ZENTD-MAIN: Current RunLevel = -1",
    };
    EXPECT_EQ(Run({-EINVAL}), expected);
    EXPECT_TRUE(ExitEvent.IsSet()) << "also without a switch object";
}

TEST_F(CSignalLoopTest, GoesOnAfterAlarmAndHangUp) {
    const Lines texts = Run({SIGALRM, SIGHUP, SIGHUP, SIGINT});
    const Lines expected{
        "ZENTD-MAIN:  Waiting for signals...",
        "ZENTD-MAIN:  ... got signal 14",
        "ZENTD-MAIN: WARNING: Signal 14 (SIGALRM) caught -> ignoring",
        "ZENTD-MAIN:  ... got signal 1",
        "ZENTD-MAIN: Signal 1 (SIGHUP) caught",
        "ZENTD-MAIN: Trace reset due to SIGHUP",
        "ZENTD-MAIN:  ... got signal 1",
        "ZENTD-MAIN: Signal 1 (SIGHUP) caught",
        "ZENTD-MAIN: Trace forced due to SIGHUP",
        "ZENTD-MAIN:  ... got signal 2",
        "ZENTD-MAIN: Signal 2 caught -> processing",
    };
    ASSERT_GE(texts.size(), expected.size());
    EXPECT_EQ(Lines(texts.begin(), texts.begin() + static_cast<std::ptrdiff_t>(expected.size())),
              expected);
    EXPECT_TRUE(Debug.IsTracingActive()) << "flipped twice";
    EXPECT_TRUE(Debug.IsLevelActive(6));
}

TEST_F(CSignalLoopTest, TellsTheSwitchHowTheDaemonStops) {
    struct Case {
        const char* RunLevel;
        Lines Notices;
    };
    const Lines stop{"Notify 0x20000 null 0"};
    for (const Case& c :
         {Case{"6", {stop[0], "Notify 0x30000 6 0"}}, Case{"0\n", {stop[0], "Notify 0x30000 0 0"}},
          Case{"3", stop}, Case{"1 6", stop}, Case{"none", stop}, Case{"", stop}}) {
        const CLoadedSwitch library(MORLA_RECORDING_SWITCH);
        CSwitchApi api;
        ASSERT_TRUE(api.LoadSwitch());
        std::ofstream(paths::kRunLevelFile) << c.RunLevel;
        ExitEvent.Reset();
        CatchSignals(SIGTERM, api);
        EXPECT_TRUE(ExitEvent.IsSet());
        Lines calls = CLoadedSwitch::Calls();
        calls.erase(calls.begin());
        EXPECT_EQ(calls, c.Notices) << c.RunLevel;
        api.Release();
    }
}

TEST_F(CSignalLoopTest, AbortsForASignalThatIsNoControlSignal) {
    EXPECT_EXIT(CatchSignals(SIGUSR1, m_Api), testing::KilledBySignal(SIGABRT), "");
    const Lines texts = TextsWith("ZENTD");
    ASSERT_FALSE(texts.empty());
    EXPECT_EQ(texts.back(), "ZENTD-MAIN: Unexpected Signal 10 caught -> ABORT");
    EXPECT_EQ(TextsWith("Current RunLevel").size(), 1U) << "after the stop was announced";
}

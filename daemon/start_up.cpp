#include "daemon/start_up.h"

#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <thread>

#include "base/bounded_text.h"
#include "base/control_signals.h"
#include "base/error_text.h"
#include "base/paths.h"
#include "daemon/command_line.h"
#include "daemon/daemon_tag.h"
#include "daemon/guarded_trace.h"
#include "daemon/signal_loop.h"
#include "daemon/version_record.h"

using daemon_names::kName;
using daemon_names::kTag;

namespace {

// Deliberate: decimal, that is 026 in octal. New files lose group write and everything for others.
constexpr mode_t kUmask = 22;
constexpr std::chrono::seconds kSettleTime(1);

// Now, as "www mmm dd hh:mm:ss yyyy\n".
struct StartTime {
    StartTime() {
        const time_t now = std::time(nullptr);
        tm local{};
        if (localtime_r(&now, &local) == nullptr || asctime_r(&local, Text) == nullptr) {
            CopyText(Text, "mmm dd hh:mm:ss yyyy\n");
        }
    }
    // Without the week day. The stand-in text has none, so that this cuts into its month.
    [[nodiscard]] const char* FromMonth() const { return static_cast<const char*>(Text) + 4; }

    char Text[32];  // asctime_r writes 26
};

}  // namespace

const char* InvocationName(int argc, char* const* argv) {
    return argc > 0 && argv[0] != nullptr ? argv[0] : kName;
}

bool IsStartedByRoot(const char* invocationName) {
    const bool isRoot = getuid() == 0;
    if (!isRoot) {
        (void)std::fprintf(stderr, "%s: %s-MAIN: Error! Permission denied\n", invocationName, kTag);
    }
    return isRoot;
}

bool LockInstance(CFileLock& lock, const char* invocationName) {
    const bool isLocked = lock.Lock(paths::kInstanceLock, kName, 0);
    if (!isLocked) {
        (void)std::fprintf(stderr,
                           "%s: %s-MAIN: Error! Another process instance is already running!\n",
                           invocationName, kTag);
    }
    return isLocked;
}

bool EnterBackground(std::span<char* const> arguments, const char* invocationName) {
    if (IsForegroundWanted(arguments)) {
        (void)std::fprintf(stderr, "%s: %s-MAIN: started in \"No Demon\" Mode\n", invocationName,
                           kTag);
        return true;
    }
    const pid_t child = fork();
    const int error = errno;
    if (child < 0) {
        (void)std::fprintf(stderr, "%s: %s-MAIN: Error! Cannot fork --> no demon !!!: %s\n",
                           invocationName, kTag, CErrorText(error).Get());
        return false;
    }
    if (child > 0) {
        // Past the caller's destructors: the lock is the child's now.
        std::exit(0);  // NOLINT(concurrency-mt-unsafe): there is one thread
    }
    return true;
}

void LeaveStartersEnvironment() {
    (void)setsid();  // fails for a leader of a process group, who may go on as one
    (void)!chdir("/");
    umask(kUmask);
}

void SetUpSignals() {
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigemptyset(&ignore.sa_mask);
    sigaction(SIGPIPE, &ignore, nullptr);
    sigaction(SIGIO, &ignore, nullptr);
    const sigset_t blockSet = ControlSignals();
    sigprocmask(SIG_BLOCK, &blockSet, nullptr);  // NOLINT(concurrency-mt-unsafe): one thread
}

void PrintBanner() {
    const StartTime start;
    const ProgramVersion version = ParseVersion(kProgramVersion);
    Debug.PrintAlways(
        0, "%s Version=\"%d.%02d-%02d\" Milestone=\"%s\" Built=\"%s\" Start=\"%.15s\"",
        kProgramName, static_cast<int>(version.Major), static_cast<int>(version.Minor),
        static_cast<int>(version.Patch), kProgramMilestone, kProgramBuilt, start.FromMonth());
    Debug.PrintAlways(
        0, "%s-MAIN: running as x86_64 (64-Bit) process; Build on SLES11 GA x86_64 (64-Bit)", kTag);
}

void OpenSystemLog() {
    tzset();
    openlog(kName, LOG_PID | LOG_NOWAIT, LOG_DAEMON);
    TraceIfActive(3, "%s-MAIN: Syslog %s openend,", kTag, kName);
}

void FinishStart() {
    std::this_thread::sleep_for(kSettleTime);
    Debug.PrintAlways(0, "%s-MAIN: ## Done initializing ##\n", kTag);
    Debug.SetApplInitDone();
}

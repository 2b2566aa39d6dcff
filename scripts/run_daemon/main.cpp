// Runs the real daemon for a look, in a private root: ./dev run.
//
//     run_daemon [--for SECONDS] [DAEMON ARGUMENTS]
//
// Writes the configuration, starts the daemon in the foreground and shows its log and its rings as
// they grow. Ctrl-C, SIGTERM and the end of the time stop the daemon in its orderly way. Exits as
// the daemon does: its exit code, or 128 and the number of the signal that ended it.
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/error_text.h"
#include "base/unique_fd.h"
#include "scripts/run_daemon/daemon_files.h"
#include "scripts/run_daemon/trace_follower.h"
#include "tests/support/private_root_guard.h"

namespace {

constexpr int kExitUsage = 64;
constexpr int kExitBroken = 70;
constexpr int kLookEveryMs = 20;  // writes through the daemon's mapping raise no event

struct Request {
    unsigned int Seconds = 0;  // 0: until a signal comes
    std::vector<std::string> Arguments{MORLA_EXECUTABLE, "-n"};
};

std::optional<Request> ParseRequest(char** arguments) {
    Request request;
    for (; *arguments != nullptr; ++arguments) {
        const std::string_view argument = *arguments;
        if (argument != "--for") {
            request.Arguments.emplace_back(argument);
            continue;
        }
        ++arguments;
        const std::string_view value = *arguments == nullptr ? "" : *arguments;
        const char* const end = value.data() + value.size();
        const auto [stop, error] = std::from_chars(value.data(), end, request.Seconds);
        if (error != std::errc() || stop != end || request.Seconds == 0) {
            return std::nullopt;
        }
    }
    return request;
}

sigset_t StopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGALRM}) {
        sigaddset(&signals, number);
    }
    return signals;
}

// Starts the daemon; 0 and a line on standard error when that fails. It gets a session of its own,
// so that Ctrl-C reaches it as one signal from here, and begins with the stop signals blocked, as
// they are inherited: one that comes before it can end in order waits until it can.
pid_t StartDaemon(std::vector<std::string>& arguments) {
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    posix_spawnattr_t attributes;
    (void)posix_spawnattr_init(&attributes);
    (void)posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    pid_t pid = 0;
    const int error =
        posix_spawn(&pid, pointers[0], nullptr, &attributes, pointers.data(), environ);
    (void)posix_spawnattr_destroy(&attributes);
    if (error != 0) {
        (void)std::fprintf(stderr, "run: %s: %s\n", pointers[0], CErrorText(error).Get());
        return 0;
    }
    return pid;
}

// One daemon from its start to its end.
class CDaemonRun {
public:
    explicit CDaemonRun(Request request) : m_Request(std::move(request)) {}
    ~CDaemonRun() {
        if (m_Pid > 0) {
            (void)kill(m_Pid, SIGKILL);
        }
    }
    CDaemonRun(const CDaemonRun&) = delete;
    CDaemonRun& operator=(const CDaemonRun&) = delete;

    // The exit code.
    int Run();

private:
    void Show();
    void StopOn(const CUniqueFd& signals);

    Request m_Request;
    CTraceFollower m_Follower;
    pid_t m_Pid = 0;
    bool m_IsStopping = false;
};

void CDaemonRun::Show() {
    const std::string lines = m_Follower.TakeNewLines();
    (void)std::fwrite(lines.data(), 1, lines.size(), stdout);
    (void)std::fflush(stdout);
}

// Hands the first stop signal on to the daemon. More would not hurry it.
void CDaemonRun::StopOn(const CUniqueFd& signals) {
    signalfd_siginfo info{};
    if (read(signals.Get(), &info, sizeof info) == sizeof info && !m_IsStopping) {
        m_IsStopping = true;
        (void)kill(m_Pid, info.ssi_signo == SIGINT ? SIGINT : SIGTERM);
    }
}

int CDaemonRun::Run() {
    const sigset_t stopSignals = StopSignals();
    (void)pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    const CUniqueFd signals(signalfd(-1, &stopSignals, SFD_CLOEXEC | SFD_NONBLOCK));
    (void)alarm(m_Request.Seconds);  // 0: never

    m_Pid = StartDaemon(m_Request.Arguments);
    if (m_Pid == 0) {
        return kExitBroken;
    }
    const CUniqueFd process(static_cast<int>(syscall(SYS_pidfd_open, m_Pid, 0)));
    pollfd entries[] = {{process.Get(), POLLIN, 0}, {signals.Get(), POLLIN, 0}};
    while ((entries[0].revents & POLLIN) == 0) {
        (void)poll(static_cast<pollfd*>(entries), std::size(entries), kLookEveryMs);
        StopOn(signals);
        Show();
    }
    int status = 0;
    (void)waitpid(std::exchange(m_Pid, 0), &status, 0);
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace

int main(int, char** argv) {
    std::optional<Request> request = ParseRequest(argv + 1);
    if (!request) {
        (void)std::fputs("usage: run_daemon [--for SECONDS] [DAEMON ARGUMENTS]\n", stderr);
        return kExitUsage;
    }
    RequirePrivateRoot();
    // NOLINTBEGIN(concurrency-mt-unsafe): there is one thread
    (void)setenv("LD_LIBRARY_PATH", MORLA_SWITCH_FOLDER, 1);
    (void)unsetenv("HX_LOG_RINGBUF_DIR");  // the follower looks in the folder that it knows
    // NOLINTEND(concurrency-mt-unsafe)
    if (!MakeDaemonFiles(MORLA_MODULE)) {
        return kExitBroken;
    }
    const int code = CDaemonRun(std::move(*request)).Run();
    if (code != 0) {
        (void)std::fprintf(stderr, "run: the daemon ended with %d\n", code);
    }
    return code;
}

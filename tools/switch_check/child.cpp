#include "tools/switch_check/child.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <sstream>

#include "base/file_io.h"
#include "base/kernel_file.h"
#include "base/paths.h"
#include "base/unique_fd.h"
#include "tools/switch_check/finding.h"

namespace switch_check {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kReportLimit = 1U << 20U;

int Spawn(std::vector<std::string>& command, int reportFd, pid_t& child) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string& word : command) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    // Also when the descriptor has that number already: it is then kept open. It comes first, for
    // where this process has no standard streams it may be one of those.
    posix_spawn_file_actions_adddup2(&actions, reportFd, kReportFd);
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        posix_spawn_file_actions_addopen(&actions, fd, paths::kNullDevice, O_RDWR, 0);
    }
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    const int error =
        posix_spawn(&child, arguments[0], &actions, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

// False when there is nothing more to come.
bool Drain(int fd, std::string& report) {
    char buffer[4096];
    for (;;) {
        const ReadResult result = ReadOnce(fd, buffer, sizeof buffer);
        if (result.Error != 0) {
            return result.Error == EAGAIN;
        }
        if (result.Bytes == 0) {
            return false;
        }
        report.append(buffer, std::min(result.Bytes, kReportLimit - report.size()));
    }
}

int MillisecondsUntil(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, INT32_MAX));
}

bool HasEnded(pid_t child) {
    siginfo_t state{};
    return waitid(P_PID, static_cast<id_t>(child), &state, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           state.si_pid == child;
}

// Reads until the child has ended; its own children may keep the pipe open longer. False when that
// takes too long. Without a descriptor for the child (an old kernel, a filter of system calls) it
// is asked for from time to time.
bool Collect(int reportFd, pid_t child, Clock::time_point deadline, std::string& report) {
    constexpr int kAskEveryMs = 10;
    // By number: the header of glibc 2.36 does not declare the function for C++.
    const CUniqueFd childFd(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
    pollfd waiting[] = {{childFd.Get(), POLLIN, 0}, {reportFd, POLLIN, 0}};
    for (;;) {
        const int left = MillisecondsUntil(deadline);
        const int count = poll(waiting, 2, childFd.IsValid() ? left : std::min(left, kAskEveryMs));
        if (count < 0 && errno != EINTR) {
            return false;
        }
        const bool hasEnded =
            childFd.IsValid() ? count > 0 && waiting[0].revents != 0 : HasEnded(child);
        if (!Drain(reportFd, report)) {
            waiting[1].fd = -1;
        }
        if (hasEnded) {
            (void)Drain(reportFd, report);
            return true;
        }
        if (Clock::now() >= deadline) {
            return false;
        }
    }
}

// Ends what the child started and left behind, also in a session of its own: this process inherits
// it. There are no other children here. Bounded, for what it starts while it is being ended.
void EndOrphans() {
    constexpr int kRounds = 100;
    const std::string list = paths::kProcSelfTask + std::to_string(gettid()) + "/children";
    std::string children;
    for (int round = 0; round < kRounds; ++round) {
        if (ReadKernelFile(list.c_str(), children) != 0 || children.empty()) {
            return;
        }
        std::istringstream numbers(children);
        for (pid_t orphan = 0; numbers >> orphan;) {
            kill(orphan, SIGKILL);
            while (waitpid(orphan, nullptr, 0) < 0 && errno == EINTR) {
            }
        }
    }
}

}  // namespace

ChildResult RunChild(std::vector<std::string> command, std::chrono::milliseconds limit) {
    ChildResult result;
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        result.Error = errno;
        return result;
    }
    (void)prctl(PR_SET_CHILD_SUBREAPER, 1);  // for EndOrphans
    const CUniqueFd reading(ends[0]);
    CUniqueFd writing(ends[1]);
    fcntl(reading.Get(), F_SETFL, O_NONBLOCK);
    pid_t child = -1;
    result.Error = Spawn(command, writing.Get(), child);
    writing.Reset();
    if (result.Error != 0) {
        return result;
    }
    result.IsTimedOut = !Collect(reading.Get(), child, Clock::now() + limit, result.Report);
    kill(-child, SIGKILL);
    kill(child, SIGKILL);  // should it have left its group
    while (waitpid(child, &result.WaitStatus, 0) < 0 && errno == EINTR) {
    }
    EndOrphans();
    return result;
}

}  // namespace switch_check

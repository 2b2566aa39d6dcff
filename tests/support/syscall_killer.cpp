#include "tests/support/syscall_killer.h"

#include <sys/ptrace.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr int kNotTraceable = 77;
constexpr int kCallStop = SIGTRAP | 0x80;  // with PTRACE_O_TRACESYSGOOD

[[noreturn]] void RunChild(const std::function<void()>& prepare,
                           const std::function<void()>& action) {
    prepare();
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
        _exit(kNotTraceable);
    }
    (void)raise(SIGSTOP);  // the parent counts from here on
    action();
    _exit(EXIT_SUCCESS);
}

bool IsEntry(pid_t child, long& number) {
    __ptrace_syscall_info info{};
    // The third argument is the size, passed in place of a pointer.
    const auto size = reinterpret_cast<void*>(sizeof info);  // NOLINT(performance-no-int-to-ptr)
    if (ptrace(PTRACE_GET_SYSCALL_INFO, child, size, &info) <= 0 ||
        info.op != PTRACE_SYSCALL_INFO_ENTRY) {
        return false;
    }
    number = static_cast<long>(info.entry.nr);
    return true;
}

// Lets the child go on to its next stop and gives it the signal that it stopped with, if any.
bool ContinueToStop(pid_t child, int signal, int& status) {
    const auto data = reinterpret_cast<void*>(  // NOLINT(performance-no-int-to-ptr): a number
        static_cast<std::uintptr_t>(signal));
    return ptrace(PTRACE_SYSCALL, child, nullptr, data) == 0 &&
           waitpid(child, &status, 0) == child && WIFSTOPPED(status);
}

void Follow(pid_t child, std::size_t ordinal, KilledRun& run) {
    int status = 0;
    int signal = 0;
    while (ContinueToStop(child, signal, status)) {
        signal = WSTOPSIG(status);
        if (signal != kCallStop) {
            continue;
        }
        signal = 0;
        long number = 0;
        if (!IsEntry(child, number)) {
            continue;
        }
        run.Calls.push_back(number);
        if (run.Calls.size() == ordinal) {
            run.WasKilled = true;
            (void)kill(child, SIGKILL);
            (void)waitpid(child, &status, 0);
            return;
        }
    }
}

}  // namespace

KilledRun KillAtSystemCall(std::size_t ordinal, const std::function<void()>& prepare,
                           const std::function<void()>& action) {
    KilledRun run;
    (void)std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        RunChild(prepare, action);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || !WIFSTOPPED(status)) {
        return run;
    }
    const auto options = reinterpret_cast<void*>(  // NOLINT(performance-no-int-to-ptr): a number
        std::uintptr_t{PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL});
    if (ptrace(PTRACE_SETOPTIONS, child, nullptr, options) != 0) {
        (void)kill(child, SIGKILL);
        (void)waitpid(child, &status, 0);
        return run;
    }
    run.IsTraceable = true;
    Follow(child, ordinal, run);
    return run;
}

#include "tests/support/syscall_killer.h"

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace {

// Lets the child go on to the beginning or the end of its next system call.
bool ContinueToStop(pid_t child) {
    int status = 0;
    return ptrace(PTRACE_SYSCALL, child, nullptr, nullptr) == 0 &&
           waitpid(child, &status, 0) == child && WIFSTOPPED(status);
}

}  // namespace

KilledRun KillAtSystemCall(std::size_t ordinal, const std::function<void()>& prepare,
                           const std::function<void()>& action) {
    KilledRun run;
    (void)std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        prepare();
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0) {
            (void)raise(SIGSTOP);  // the parent counts from here on
            action();
        }
        _exit(EXIT_SUCCESS);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || !WIFSTOPPED(status)) {
        return run;
    }
    run.IsTraceable = true;
    (void)ptrace(PTRACE_SETOPTIONS, child, nullptr,
                 static_cast<long>(PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL));
    while (ContinueToStop(child)) {
        __ptrace_syscall_info info{};
        if (ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info) <= 0 ||
            info.op != PTRACE_SYSCALL_INFO_ENTRY) {
            continue;
        }
        run.Calls.push_back(static_cast<long>(info.entry.nr));
        if (run.Calls.size() == ordinal) {
            run.WasKilled = true;
            (void)kill(child, SIGKILL);
            (void)waitpid(child, &status, 0);
            break;
        }
    }
    return run;
}

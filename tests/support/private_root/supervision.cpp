#include "tests/support/private_root/supervision.h"

#include <sys/wait.h>

#include <cerrno>
#include <optional>

namespace {

int ExitCode(int status) {
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

// The exit code of `child` when it is among the children that have ended.
std::optional<int> BuryTheDead(pid_t child) {
    std::optional<int> code;
    int status = 0;
    for (pid_t dead = 0; (dead = waitpid(-1, &status, WNOHANG)) > 0;) {
        if (dead == child) {
            code = ExitCode(status);
        }
    }
    return code;
}

}  // namespace

sigset_t SupervisedSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGCHLD, SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&signals, number);
    }
    return signals;
}

int Supervise(pid_t child) {
    const sigset_t signals = SupervisedSignals();
    for (;;) {
        siginfo_t info{};
        const int number = sigwaitinfo(&signals, &info);
        if (number == SIGCHLD) {
            if (const std::optional<int> code = BuryTheDead(child)) {
                return *code;
            }
        } else if (number > 0 && info.si_code != SI_KERNEL) {
            (void)kill(child, number);
        }
    }
}

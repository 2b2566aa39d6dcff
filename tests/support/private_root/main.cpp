// private_root runs a command in a root of its own, where it may write to the real absolute
// paths: see usage() below, root_tree.h for what the command finds, tests/README.md for use.
//
// Three processes: the caller's child, which waits; the first process of a PID namespace, which
// builds the tree, waits and buries orphans; the command. When any of the first two goes, the
// kernel ends everything in the namespace, so that nothing outlives a test.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "base/error_text.h"
#include "base/unique_fd.h"
#include "tests/support/private_root/namespaces.h"
#include "tests/support/private_root/options.h"
#include "tests/support/private_root/refusal.h"
#include "tests/support/private_root/root_tree.h"
#include "tests/support/private_root/supervision.h"

namespace {

constexpr char kUsage[] =
    "usage: private_root [--program=PATH]... [--tmpfs=PATH:SIZE]... -- COMMAND [ARGUMENTS]\n"
    "\n"
    "  --program=PATH     a program of the machine that exists inside, beside the usual ones\n"
    "  --tmpfs=PATH:SIZE  a file system of that size at PATH\n"
    "\n"
    "Exits as COMMAND does (128 and the number of a signal), 77 where namespaces are forbidden.\n";

pid_t Fork() {
    const pid_t child = fork();
    if (child < 0) {
        const int error = errno;
        Refuse("fork", error);
    }
    return child;
}

[[noreturn]] void RunCommand(char** command, const sigset_t& mask) {
    (void)sigprocmask(SIG_SETMASK, &mask, nullptr);
    (void)execvp(command[0], command);
    const int error = errno;
    (void)std::fprintf(stderr, "private_root: %s: %s\n", command[0], CErrorText(error).Get());
    _exit(error == ENOENT ? kExitNotFound : kExitNotExecutable);
}

// Asks the kernel to end this process with its parent. The parent may be gone by now, and a parent
// outside the PID namespace has the number 0 either way: so the pipe tells, whose writing end
// only the parent holds.
void DieWithParent(int lifeline) {
    (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
    pollfd end{lifeline, POLLIN, 0};
    if (poll(&end, 1, 0) != 0) {
        _exit(kExitBroken);
    }
}

// The first process of the PID namespace.
[[noreturn]] void RunInit(const Options& options, const sigset_t& mask, int lifeline) {
    DieWithParent(lifeline);
    EnterRootTree(options);
    const pid_t command = Fork();
    if (command == 0) {
        RunCommand(options.Command, mask);
    }
    _exit(Supervise(command));
}

}  // namespace

int main(int, char** argv) {
    Options options;
    if (!ParseOptions(argv + 1, options)) {
        (void)std::fputs(kUsage, stderr);
        return kExitUsage;
    }
    const sigset_t signals = SupervisedSignals();
    sigset_t mask;
    (void)sigprocmask(SIG_BLOCK, &signals, &mask);
    EnterNamespaces();

    int lifeline[2];
    if (pipe2(lifeline, O_CLOEXEC) != 0) {
        const int error = errno;
        Refuse("pipe", error);
    }
    const CUniqueFd readEnd(lifeline[0]);
    CUniqueFd writeEnd(lifeline[1]);
    const pid_t init = Fork();
    if (init == 0) {
        writeEnd.Reset();
        RunInit(options, mask, readEnd.Get());
    }
    return Supervise(init);
}

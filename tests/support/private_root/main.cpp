// private_root runs a command in a root of its own, where it may write to the real absolute
// paths: see kUsage below, root_tree.h for what the command finds, tests/README.md for use.
//
// Three processes: the caller's child, which waits; the first process of a PID namespace, which
// builds the tree, waits and buries orphans; the command. When any of the first two goes, the
// kernel ends everything in the namespace, so that nothing outlives a test.
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>

#include "base/error_text.h"
#include "base/unique_fd.h"
#include "tests/support/private_root/refusal.h"
#include "tests/support/private_root/root_tree.h"

namespace {

constexpr char kUsage[] =
    "usage: private_root [--program=PATH]... [--tmpfs=PATH:SIZE]... -- COMMAND [ARGUMENTS]\n"
    "\n"
    "  --program=PATH     a program of the machine that exists inside, beside the usual ones\n"
    "  --tmpfs=PATH:SIZE  a file system of that size at PATH\n"
    "\n"
    "Exits as COMMAND does (128 and the number of a signal), 77 where namespaces are forbidden.\n";

// The command and its arguments, ended by a null; null when the line is not of the form above.
char** ParseOptions(char** arguments, TreeOptions& options) {
    for (; *arguments != nullptr; ++arguments) {
        const std::string_view argument = *arguments;
        if (argument == "--") {
            return arguments[1] != nullptr ? arguments + 1 : nullptr;
        }
        const std::size_t path = argument.find("=/") + 1;  // 0 when there is none
        const std::size_t colon = argument.rfind(':');
        if (argument.substr(0, path) == "--program=") {
            options.Programs.emplace_back(argument.substr(path));
        } else if (argument.substr(0, path) == "--tmpfs=" && colon != std::string_view::npos &&
                   colon + 1 < argument.size()) {
            options.Mounts.emplace_back(argument.substr(path, colon - path),
                                        argument.substr(colon + 1));
        } else {
            return nullptr;
        }
    }
    return nullptr;
}

void WriteMap(const char* path, const std::string& text) {
    const CUniqueFd fd(open(path, O_WRONLY | O_CLOEXEC));
    Demand(fd.IsValid() && write(fd.Get(), text.data(), text.size()) >= 0, path);
}

// Gives this process a mount and an IPC namespace of its own, and a PID namespace to the children
// that it forks from now on. A caller without the right to do so, also a root whose capabilities
// were taken away as in most containers, gets a user namespace first, in which it is root.
void EnterNamespaces() {
    constexpr int kNamespaces = CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWIPC;
    const std::string user = std::to_string(geteuid());
    const std::string group = std::to_string(getegid());
    if (user == "0" && unshare(kNamespaces) == 0) {
        return;
    }
    if (unshare(kNamespaces | CLONE_NEWUSER) != 0) {
        const int error = errno;
        Refuse("unshare", error == EINVAL ? ENOSYS : error);  // EINVAL: not in this kernel
    }
    WriteMap("/proc/self/setgroups", "deny");  // the kernel's condition for a group map
    WriteMap("/proc/self/uid_map", "0 " + user + " 1");
    WriteMap("/proc/self/gid_map", "0 " + group + " 1");
}

// SIGCHLD and the signals that are handed on.
sigset_t SupervisedSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGCHLD, SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&signals, number);
    }
    return signals;
}

// Waits for `child`, burying every other child meanwhile, and sends it each control signal that a
// process sends to this one. A signal from the terminal is not handed on: the whole foreground
// group has it already. Returns the exit status, or 128 and the number of the signal.
int Supervise(pid_t child) {
    const sigset_t signals = SupervisedSignals();
    for (;;) {
        siginfo_t info{};
        const int number = sigwaitinfo(&signals, &info);
        int status = 0;
        for (pid_t dead = 0; (dead = waitpid(-1, &status, WNOHANG)) > 0;) {
            if (dead == child) {
                return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
            }
        }
        if (number > 0 && number != SIGCHLD && info.si_code != SI_KERNEL) {
            (void)kill(child, number);
        }
    }
}

pid_t Fork() {
    const pid_t child = fork();
    Demand(child >= 0, "fork");
    return child;
}

[[noreturn]] void RunCommand(char** command, const sigset_t& mask) {
    umask(022);  // whatever the caller has: a file that its group can write is told of
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

}  // namespace

int main(int, char** argv) {
    TreeOptions options;
    char** const commandLine = ParseOptions(argv + 1, options);
    if (commandLine == nullptr) {
        (void)std::fputs(kUsage, stderr);
        return kExitUsage;
    }
    const sigset_t signals = SupervisedSignals();
    sigset_t mask;
    (void)sigprocmask(SIG_BLOCK, &signals, &mask);
    EnterNamespaces();

    int lifeline[2];
    Demand(pipe2(lifeline, O_CLOEXEC) == 0, "pipe");
    const pid_t init = Fork();
    if (init != 0) {
        return Supervise(init);
    }
    close(lifeline[1]);
    DieWithParent(lifeline[0]);
    EnterRootTree(options);
    const pid_t command = Fork();
    if (command == 0) {
        RunCommand(commandLine, mask);
    }
    _exit(Supervise(command));
}

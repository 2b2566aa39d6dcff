// CProcess: starting programs, waiting for them, ending them.
//
// A program is started with vfork: until it is executed the child borrows the memory of the thread
// that starts it, which stands still meanwhile. A copy-on-write child would cost a copy of the page
// tables, milliseconds for a large process. Three things make the borrowed memory safe:
//  - The child makes system calls on data prepared before, then executes or leaves with _exit; it
//    allocates nothing, takes no lock and runs no exit handler. execvp does not allocate: it builds
//    the candidates of the search path on the stack, as the C library's own spawn operation does.
//  - No signal handler runs in the child: all signals are blocked around the vfork, and the child
//    gives those that have a handler their default action before it unblocks any. Executing a
//    program does the same; here it happens a moment earlier.
//  - The thread cannot be cancelled inside the child.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <string>
#include <string_view>
#include <vector>

#include "base/cancellation.h"
#include "base/error_text.h"
#include "base/memory_failure.h"
#include "os/process.h"
#include "trace/debug.h"

namespace {

constexpr unsigned int kFirstClosed = 3;  // after standard input, output and error
constexpr int kCannotExecute = 255;
constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

// Everything that the child needs, made by the parent.
struct Launch {
    std::vector<std::string> Words;
    std::vector<char*> Arguments;  // into Words, with a null entry at the end
    const char* Program = "";      // the first word; an empty name is never found
    bool KeepDescriptors = false;
    unsigned int DescriptorLimit = 0;  // one above the highest descriptor to close
    sigset_t Mask{};                   // of the program
};

// The descriptors to close end below this.
unsigned int DescriptorLimit() {
    constexpr long kSmallestLimit = 256;
    constexpr unsigned int kAssumedLimit = 1024;
    const long limit = sysconf(_SC_OPEN_MAX);
    return limit < kSmallestLimit ? kAssumedLimit
                                  : static_cast<unsigned int>(std::min<long>(limit, INT_MAX));
}

// False where there is no memory for it. No stream cuts the words: it would swallow that, and leave
// a shorter command.
bool SplitCommand(const char* command, Launch& launch) {
    return FalseWithoutMemory([&] {
        std::string_view rest(command != nullptr ? command : "");
        for (;;) {
            rest.remove_prefix(std::min(rest.find_first_not_of(kWhiteSpace), rest.size()));
            if (rest.empty()) {
                break;
            }
            launch.Words.emplace_back(rest.substr(0, rest.find_first_of(kWhiteSpace)));
            rest.remove_prefix(launch.Words.back().size());
        }
        for (std::string& word : launch.Words) {
            launch.Arguments.push_back(word.data());
        }
        launch.Arguments.push_back(nullptr);
        if (!launch.Words.empty()) {
            launch.Program = launch.Words.front().c_str();
        }
        return true;
    });
}

// --- In the child: async-signal-safe calls only. ---

// One call, however high the limit. Kernels before 5.9 and some system-call filters do not have it.
void CloseDescriptors(unsigned int limit) {
    if (close_range(kFirstClosed, limit - 1, 0) == 0) {
        return;
    }
    for (unsigned int fd = kFirstClosed; fd < limit; ++fd) {
        close(static_cast<int>(fd));
    }
}

void DropSignalHandlers() {
    for (int signal = 1; signal < NSIG; ++signal) {
        struct sigaction action {};
        if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_DFL &&
            action.sa_handler != SIG_IGN) {
            action.sa_handler = SIG_DFL;
            action.sa_flags = 0;
            sigaction(signal, &action, nullptr);
        }
    }
}

// A program that cannot be executed ends with status 255 by _exit: exit handlers and buffered
// output belong to the parent, whose memory this is.
[[noreturn]] void RunChild(const Launch& launch) {
    if (!launch.KeepDescriptors) {
        CloseDescriptors(launch.DescriptorLimit);
    }
    DropSignalHandlers();
    pthread_sigmask(SIG_SETMASK, &launch.Mask, nullptr);
    execvp(launch.Program, launch.Arguments.data());
    _exit(kCannotExecute);
}

// --- In the parent. ---

// Returns the new process, or -1 with `error`.
pid_t Start(Launch& launch, int& error) {
    const CCancellationHold hold;
    sigset_t all{};
    sigset_t own{};
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &own);
    launch.Mask = own;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGALRM}) {
        sigdelset(&launch.Mask, signal);  // the daemon keeps them blocked for its signal loop
    }
    // NOLINTNEXTLINE(clang-analyzer-security.insecureAPI.vfork): safe as told at the top
    const pid_t pid = vfork();
    if (pid == 0) {
        RunChild(launch);  // NOLINT(clang-analyzer-unix.Vfork): safe as told at the top
    }
    error = errno;
    pthread_sigmask(SIG_SETMASK, &own, nullptr);
    return pid;
}

// Reaps a child. True when it ended with status 0. A cancellation point.
bool Reap(pid_t pid, unsigned int& exitCode) {
    int status = 0;
    pid_t reaped = 0;
    int error = 0;
    do {
        reaped = waitpid(pid, &status, 0);
        error = errno;
    } while (reaped < 0 && error == EINTR);
    if (reaped < 0) {
        Debug.Print(1, "\nPROCESS             : cannot wait for process %d (errno=%d: %s)", pid,
                    error, CErrorText(error).Get());
        return false;
    }
    if (!WIFEXITED(status)) {
        return false;
    }
    exitCode = static_cast<unsigned int>(WEXITSTATUS(status));
    return exitCode == 0;
}

// The identifier as the system calls take it; 0 when it is not that of one process.
pid_t SingleProcess(unsigned int pid) {
    return pid <= INT_MAX ? static_cast<pid_t>(pid) : 0;
}

// Deliberate: the calling process itself changes directory while a program is started (and waited
// for), which all its threads see; the new process inherits the directory.
class CTemporaryDirectory {
public:
    // Null changes nothing.
    explicit CTemporaryDirectory(const char* directory) {
        if (directory == nullptr) {
            return;
        }
        m_IsReady = CProcess::GetCurrentDir(m_Previous) && CProcess::SetCurrentDir(directory);
        m_IsAway = m_IsReady;
        if (!m_IsReady) {
            Debug.Print(1, "\nPROCESS             : cannot change to directory \"%s\"", directory);
        }
    }
    ~CTemporaryDirectory() { (void)Leave(); }  // also when the waiting thread is cancelled
    CTemporaryDirectory(const CTemporaryDirectory&) = delete;
    CTemporaryDirectory& operator=(const CTemporaryDirectory&) = delete;

    [[nodiscard]] bool IsReady() const { return m_IsReady; }

    // Goes back. False when that failed.
    [[nodiscard]] bool Leave() {
        if (!m_IsAway) {
            return true;
        }
        m_IsAway = false;
        return CProcess::SetCurrentDir(m_Previous.c_str());
    }

private:
    std::string m_Previous;
    bool m_IsReady = true;
    bool m_IsAway = false;
};

}  // namespace

bool CProcess::execute_command(const char* command, unsigned int& pid, unsigned int& exitCode,
                               const char* directory, bool /*flag1*/, bool async,
                               bool keepDescriptors) {
    Launch launch;
    if (!SplitCommand(command, launch)) {
        pid = kNone;
        exitCode = kNoExitCode;
        Debug.Print(1, "\nPROCESS             : no memory to start a program");
        return false;
    }
    launch.KeepDescriptors = keepDescriptors;
    launch.DescriptorLimit = DescriptorLimit();

    CTemporaryDirectory there(directory);
    if (!there.IsReady()) {
        return false;
    }
    exitCode = kNoExitCode;
    int error = 0;
    const pid_t child = Start(launch, error);
    pid = static_cast<unsigned int>(child);
    bool result = false;
    if (child < 0) {
        Debug.Print(1, "\nPROCESS             : cannot start %s (errno=%d: %s)", launch.Program,
                    error, CErrorText(error).Get());
    } else {
        result = async || Reap(child, exitCode);
    }
    return there.Leave() && result;
}

bool CProcess::ExecuteCmd(const char* command, const char* directory, bool flag1,
                          bool keepDescriptors) {
    unsigned int pid = kNone;
    unsigned int exitCode = kNoExitCode;
    return execute_command(command, pid, exitCode, directory, flag1, false, keepDescriptors);
}

bool CProcess::ExecuteCmd(const char* command, unsigned int& pid, unsigned int& exitCode,
                          const char* directory, bool flag1, bool keepDescriptors) {
    return execute_command(command, pid, exitCode, directory, flag1, false, keepDescriptors);
}

bool CProcess::ExecuteCmdAsync(const char* command, const char* directory, bool flag1,
                               bool keepDescriptors) {
    unsigned int pid = kNone;
    return ExecuteCmdAsync(command, pid, directory, flag1, keepDescriptors);
}

bool CProcess::ExecuteCmdAsync(const char* command, unsigned int& pid, const char* directory,
                               bool flag1, bool keepDescriptors) {
    unsigned int exitCode = kNoExitCode;
    return execute_command(command, pid, exitCode, directory, flag1, true, keepDescriptors);
}

bool CProcess::WaitForExit(unsigned int pid, unsigned int& exitCode, unsigned int /*timeoutMs*/) {
    exitCode = kNoExitCode;
    const pid_t child = SingleProcess(pid);
    return child != 0 && Reap(child, exitCode);
}

bool CProcess::TerminateProcess(unsigned int pid, unsigned int /*exitCode*/) {
    const pid_t process = SingleProcess(pid);
    return process != 0 && kill(process, SIGKILL) == 0;
}

#include "scripts/faults/injector/tracer.h"

#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>

#include "scripts/faults/injector/call_filter.h"
#include "scripts/faults/injector/call_names.h"
#include "scripts/faults/window.h"

namespace {

constexpr long kOptions = PTRACE_O_EXITKILL | PTRACE_O_TRACESECCOMP | PTRACE_O_TRACEFORK |
                          PTRACE_O_TRACEVFORK | PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXEC |
                          PTRACE_O_TRACESYSGOOD;

volatile std::sig_atomic_t g_IsOver = 0;  // NOLINT: set by a signal handler

pid_t ProcessOf(pid_t task) {
    std::ifstream status("/proc/" + std::to_string(task) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("Tgid:")) {
            return std::stoi(line.substr(5));
        }
    }
    return task;
}

std::string TextAt(pid_t task, unsigned long long address) {
    char text[256];
    iovec local{text, sizeof text};
    // NOLINTNEXTLINE(performance-no-int-to-ptr): an address of the other process
    iovec remote{reinterpret_cast<void*>(address), sizeof text};
    ssize_t length = process_vm_readv(task, &local, 1, &remote, 1, 0);
    if (length < 0) {  // the end of what is mapped lies within
        remote.iov_len = 4096 - address % 4096;
        length = process_vm_readv(task, &local, 1, &remote, 1, 0);
    }
    const std::string found(text, static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    return found.substr(0, found.find('\0'));
}

// Where a descriptor leads, for calls whose first argument is one.
std::string TargetOf(pid_t task, unsigned long long descriptor) {
    std::error_code error;
    const auto target = std::filesystem::read_symlink(
        "/proc/" + std::to_string(task) + "/fd/" + std::to_string(static_cast<int>(descriptor)),
        error);
    return error ? "" : target.string();
}

bool TakesDescriptor(long call) {
    constexpr long kCalls[] = {SYS_read,    SYS_write, SYS_pread64, SYS_pwrite64, SYS_close,
                               SYS_fstat,   SYS_flock, SYS_fsync,   SYS_fchmod,   SYS_ftruncate,
                               SYS_lseek,   SYS_ioctl, SYS_sendto,  SYS_connect,  SYS_getdents64,
                               SYS_fstatfs, SYS_fcntl};
    return std::ranges::find(kCalls, call) != std::end(kCalls);
}

// A call that wakes others up cannot fail; it is told from a wait by its operation.
bool IsWakeUp(const user_regs_struct& registers) {
    constexpr unsigned long long kWait = 0;
    constexpr unsigned long long kWaitBitset = 9;
    const unsigned long long operation = registers.rsi & 0x7FU;
    return registers.orig_rax == SYS_futex && operation != kWait && operation != kWaitBitset;
}

void SendOn(pid_t task, int signal) {
    (void)ptrace(PTRACE_CONT, task, nullptr, static_cast<long>(signal));
}

}  // namespace

bool CTracer::Run() {
    m_Report.reset(std::fopen(m_Order.Report.c_str(), "we"));
    if (m_Report == nullptr || !Start()) {
        return false;
    }
    Follow();
    return m_IsExecuted;
}

bool CTracer::Start() {
    const pid_t child = fork();
    if (child == 0) {
        BecomeCommand();
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || !WIFSTOPPED(status) ||
        ptrace(PTRACE_SETOPTIONS, child, nullptr, kOptions) != 0) {
        return false;
    }
    m_Tasks[child] = {.Process = child};
    SendOn(child, 0);
    return true;
}

void CTracer::BecomeCommand() const {
    (void)ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    (void)raise(SIGSTOP);
    std::vector<long> calls;
    if (!m_Order.IsList && m_Order.Injected.value_or(Fault{}).What != Fault::Kind::kKill) {
        calls = {SYS_rt_sigtimedwait, SYS_clock_nanosleep, SYS_prctl};
        if (m_Order.Injected) {
            calls.push_back(m_Order.Injected->Call);
        }
    }
    if (StopAtCalls(calls)) {
        (void)execv(m_Order.Command[0], m_Order.Command);
    }
    _exit(127);
}

void CTracer::Follow() {
    struct sigaction action {};
    action.sa_handler = [](int) {
        g_IsOver = 1;
    };
    (void)sigaction(SIGALRM, &action, nullptr);  // interrupts waitpid
    (void)alarm(m_Order.LimitSeconds);
    for (;;) {
        int status = 0;
        const pid_t task = waitpid(-1, &status, __WALL);
        const int error = errno;
        if (task > 0 && WIFSTOPPED(status)) {
            TakeStop(task, status);
        } else if (task > 0) {
            TakeEnd(task, status);
        } else if (error == EINTR && g_IsOver != 0) {
            (void)std::fputs("hang\n", m_Report.get());
            KillAll();
        } else if (error == ECHILD) {
            return;
        }
    }
}

void CTracer::KillAll() const {
    for (const auto& [task, state] : m_Tasks) {
        (void)kill(state.Process, SIGKILL);
    }
}

void CTracer::TakeStop(pid_t task, int status) {
    const int signal = WSTOPSIG(status);
    const auto event = static_cast<unsigned int>(status) >> 16U;
    if (!m_Tasks.contains(task)) {
        m_Early.insert(task);  // its parent's stop, which comes next, tells whose it is
        return;
    }
    if (event == PTRACE_EVENT_FORK || event == PTRACE_EVENT_VFORK || event == PTRACE_EVENT_CLONE) {
        TakeNewTask(task, event);
        SendOn(task, 0);
    } else if (event == PTRACE_EVENT_EXEC) {
        m_Tasks[task].IsOwn = !m_IsExecuted;
        m_IsCounting = m_IsCounting || !m_Order.IsWindow;
        m_IsExecuted = true;
        SendOn(task, 0);
    } else if (event == PTRACE_EVENT_SECCOMP) {
        TakeCall(task);
    } else if (signal == (SIGTRAP | 0x80)) {
        FinishCall(task);
    } else if (m_Tasks[task].IsPaused) {
        m_Tasks[task].IsPaused = false;  // the stop that a new task begins with
        SendOn(task, 0);
    } else {
        SendOn(task, event != 0 ? 0 : signal);
    }
}

void CTracer::TakeNewTask(pid_t task, unsigned int event) {
    unsigned long created = 0;
    (void)ptrace(PTRACE_GETEVENTMSG, task, nullptr, &created);
    const auto child = static_cast<pid_t>(created);
    const pid_t process = event == PTRACE_EVENT_CLONE ? ProcessOf(child) : child;
    const bool isStopped = m_Early.erase(child) != 0;
    m_Tasks[child] = {.Process = process, .IsOwn = m_Tasks[task].IsOwn, .IsPaused = !isStopped};
    if (isStopped) {
        SendOn(child, 0);
    }
}

bool CTracer::IsAt(long call) const {
    if (!m_Order.Injected) {
        return false;
    }
    const Fault& fault = *m_Order.Injected;
    return fault.Call < 0 ? fault.At == m_Total
                          : fault.Call == call && m_Counts.at(call) == fault.At;
}

void CTracer::TakeCall(pid_t task) {
    user_regs_struct registers{};
    (void)ptrace(PTRACE_GETREGS, task, nullptr, &registers);
    const auto call = static_cast<long>(registers.orig_rax);
    if (!m_Tasks[task].IsOwn) {
        SendOn(task, 0);
        return;
    }
    if (call == SYS_prctl && static_cast<int>(registers.rdi) == kFaultWindow) {
        m_IsCounting = registers.rsi != 0;
        SendOn(task, 0);
        return;
    }
    bool isSkipped = false;
    if (m_IsCounting && !IsWakeUp(registers)) {
        ++m_Total;
        ++m_Counts[call];
        if (m_Order.IsList) {
            Describe("call", task, registers);
        }
        if (IsAt(call)) {
            Describe("injected", task, registers);
            isSkipped = Inject(task, registers);
        }
    }
    if (m_Tasks[task].AtEnd) {
        (void)ptrace(PTRACE_SYSCALL, task, nullptr, nullptr);
        return;
    }
    if (!isSkipped && call == SYS_clock_nanosleep) {
        registers.orig_rax = static_cast<unsigned long long>(-1);  // slept as long as it wanted
        registers.rax = 0;
        (void)ptrace(PTRACE_SETREGS, task, nullptr, &registers);
    }
    if (call == SYS_rt_sigtimedwait && registers.rdx == 0) {
        TakeWait(task);
    }
    SendOn(task, 0);
}

// A close whose failure is told has closed all the same. The end of the heap cannot be told by an
// error number: a call that wants no change returns it as it is. A program takes for granted that
// its arguments are still in the registers behind a call.
bool CTracer::Inject(pid_t task, user_regs_struct& registers) {
    const Fault& fault = *m_Order.Injected;
    Task& state = m_Tasks[task];
    if (fault.What == Fault::Kind::kKill) {
        (void)kill(state.Process, SIGKILL);
        return true;
    }
    const bool isMade =
        fault.What == Fault::Kind::kShort || fault.Call == SYS_close || fault.Call == SYS_brk;
    if (isMade) {
        state.AtEnd = registers;
        state.HasResult = fault.Call == SYS_close;
        state.AtEnd->rax = static_cast<unsigned long long>(-static_cast<long long>(fault.Error));
    }
    if (fault.What == Fault::Kind::kShort) {
        registers.rdx = std::min<unsigned long long>(registers.rdx, fault.Size);
    } else if (fault.Call == SYS_brk) {
        registers.rdi = 0;
    } else if (!isMade) {
        registers.orig_rax = static_cast<unsigned long long>(-1);
        registers.rax = static_cast<unsigned long long>(-static_cast<long long>(fault.Error));
    }
    (void)ptrace(PTRACE_SETREGS, task, nullptr, &registers);
    return !isMade;
}

void CTracer::FinishCall(pid_t task) {
    Task& state = m_Tasks[task];
    if (state.AtEnd) {
        user_regs_struct registers{};
        (void)ptrace(PTRACE_GETREGS, task, nullptr, &registers);
        registers.rdi = state.AtEnd->rdi;
        registers.rdx = state.AtEnd->rdx;
        if (state.HasResult) {
            registers.rax = state.AtEnd->rax;
        }
        (void)ptrace(PTRACE_SETREGS, task, nullptr, &registers);
        state.AtEnd.reset();
    }
    SendOn(task, 0);
}

// The command is up and idle: the moment to see what it holds, and to end it.
void CTracer::TakeWait(pid_t task) {
    if (m_IsStopSent || m_Order.StopSignal == 0) {
        return;
    }
    m_IsStopSent = true;
    const std::string folder = "/proc/" + std::to_string(task);
    for (const auto& entry : std::filesystem::directory_iterator(folder + "/fd")) {
        std::error_code error;
        const auto target = std::filesystem::read_symlink(entry.path(), error);
        (void)std::fprintf(m_Report.get(), "open %s %s\n", entry.path().filename().c_str(),
                           target.c_str());
    }
    std::ifstream maps(folder + "/maps");
    for (std::string line; std::getline(maps, line);) {
        const std::size_t path = line.find('/');
        if (line.find(" rw-s ") != std::string::npos && path != std::string::npos) {
            (void)std::fprintf(m_Report.get(), "map %s\n", line.c_str() + path);
        }
    }
    (void)kill(m_Tasks[task].Process, m_Order.StopSignal);
}

void CTracer::Describe(const char* what, pid_t task, const user_regs_struct& registers) const {
    const auto call = static_cast<long>(registers.orig_rax);
    const unsigned long long arguments[] = {registers.rdi, registers.rsi, registers.rdx,
                                            registers.r10};
    const int path = PathArgument(call);
    std::string text;
    if (path >= 0) {
        text = TextAt(task, arguments[path]);
    } else if (TakesDescriptor(call)) {
        text = TargetOf(task, arguments[0]);
    } else if (call == SYS_mmap) {
        text = TargetOf(task, registers.r8);
    }
    (void)std::fprintf(m_Report.get(), "%s %llu %d %s %llu 0x%llx 0x%llx 0x%llx 0x%llx %s\n", what,
                       static_cast<unsigned long long>(m_Total), m_Tasks.at(task).Process,
                       std::string(CallName(call)).c_str(),
                       static_cast<unsigned long long>(m_Counts.at(call)), arguments[0],
                       arguments[1], arguments[2], arguments[3], text.c_str());
}

void CTracer::TakeEnd(pid_t task, int status) {
    const Task state = m_Tasks[task];
    m_Tasks.erase(task);
    if (state.Process != task && state.Process != 0) {
        return;  // a thread
    }
    (void)std::fprintf(m_Report.get(), "end %s %s %d\n", state.IsOwn ? "own" : "other",
                       WIFSIGNALED(status) ? "signal" : "exit",
                       WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status));
}

// Finding, describing, starting and ending processes; the working directory.
#include "os/process.h"

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <thread>

#include "base/file_ptr.h"
#include "os/proc_text.h"
#include "tests/os/idle_child.h"
#include "tests/support/files.h"

namespace fs = std::filesystem;

namespace {

constexpr unsigned int kUntouched = 4711;

// A temporary folder is the current one while a test runs.
class Process : public testing::Test {
protected:
    Process() {
        Remove(m_Folder);
        MakeDirectories(m_Folder);
        fs::current_path(m_Folder);
    }
    ~Process() override {
        fs::current_path(m_Before);
        Remove(m_Folder);
    }
    // Writes a shell script into the folder; its path.
    [[nodiscard]] std::string Script(const std::string& text) const {
        const std::string path = m_Folder + "/script";
        WriteFile(path, "#!/bin/sh\n" + text + "\n");
        fs::permissions(path, fs::perms::owner_all);
        return path;
    }
    bool Run(const std::string& command, const char* directory = nullptr) {
        m_Pid = m_ExitCode = kUntouched;
        return CProcess::ExecuteCmd(command.c_str(), m_Pid, m_ExitCode, directory, false, false);
    }
    bool Start(const std::string& command) {
        return CProcess::ExecuteCmdAsync(command.c_str(), m_Pid, nullptr, false, false);
    }
    bool Wait(unsigned int pid) { return CProcess::WaitForExit(pid, m_ExitCode, 0); }

    const std::string m_Before = fs::current_path();
    const std::string m_Folder =
        fs::canonical(testing::TempDir()) / ("process_test." + std::to_string(getpid()));
    unsigned int m_Pid = kUntouched;
    unsigned int m_ExitCode = kUntouched;
    std::string m_Text;
};

// From now on this process, and its children, get `error` (0: success) in place of a system call.
// For the child process of a test only: it cannot be undone.
bool AnswerSystemCall(unsigned int number, unsigned int error) {
    sock_filter filter[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program = {std::size(filter), filter};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

TEST_F(Process, FiguresAndNumbersAreReadFromText) {
    constexpr char kStatus[] =
        "Name:\tVmPeak: 5 kB\nVmPeak:\t  6404 kB\nVmSize:\t 2 MB\nVmSwap: 3 GB\nVmSize:\t 9 kB\n"
        "Odd:\t 12 KB\nNone:\nMinus:\t-1 kB\nHuge:\t18446744073709551615 kB\nNext:\n 5 kB\nLast:\t 4";
    const std::pair<const char*, std::uint64_t> rows[] = {
        {"VmPeak:", 6404U << 10U},
        {"VmSize:", 2U << 20U},
        {"VmSwap:", 3ULL << 30U},
        {"Odd:", 12},
        {"Last:", 4},
        {"None:", kUntouched},
        {"Minus:", kUntouched},
        {"Huge:", kUntouched},
        {"Next:", kUntouched},
    };
    for (const auto& [key, figure] : rows) {
        std::uint64_t bytes = kUntouched;
        EXPECT_EQ(os::ParseStatusFigure(kStatus, key, bytes), figure != kUntouched);
        EXPECT_EQ(bytes, figure) << key;
    }
    for (const char* name : {"", "0", "-1", "+1", " 1", "1a", "self", "4294967297"}) {
        EXPECT_EQ(os::ParseProcessNumber(name), 0) << name;
    }
}

TEST_F(Process, IsFoundByItsExactName) {
    const std::string own = std::to_string(getpid());  // another run may be under way
    const std::string full = own + std::string(15 - own.size(), 'X');
    const std::pair<std::string, std::string> rows[] = {
        {own + " a  b", own + " a  b"},
        {"(" + own + ") R 1(", "(" + own + ") R 1("},
        {own + " li\nne", own + " li"},  // the first line
        {full + "y", full},              // of up to 15 characters
    };
    for (const auto& [given, name] : rows) {
        EXPECT_FALSE(CProcess::FindProcess(m_Pid, name.c_str()));
        EXPECT_EQ(m_Pid, CProcess::kNone);
        const CIdleChild child(given);
        EXPECT_TRUE(CProcess::FindProcess(m_Pid, name.c_str()));
        EXPECT_EQ(m_Pid, child.Pid());
        EXPECT_TRUE(CProcess::GetProcessName(m_Text, child.Pid()));
        EXPECT_EQ(m_Text, name);
        for (const std::string& other :
             {name + "y", name + "\n", " " + name, name.substr(0, name.size() - 1)}) {
            EXPECT_FALSE(CProcess::FindProcess(m_Pid, other.c_str())) << other;
        }
    }
}

TEST_F(Process, IsDescribedAsFarAsItExists) {
    const CIdleChild zombie("morla zombie", CIdleChild::kZombie);
    std::string name = "unchanged";
    unsigned long value = kUntouched;
    for (const unsigned int pid : {0U, CProcess::kNone, 0x7FFFFFFFU}) {
        EXPECT_FALSE(CProcess::GetProcessInfo(pid, name, m_Text));
        EXPECT_FALSE(CProcess::GetProcessMemorySpecificInfo(pid, &value, "VmSize:", {}));
    }
    EXPECT_EQ(name, "unchanged");
    EXPECT_EQ(value, kUntouched);
    EXPECT_FALSE(CProcess::GetProcessInfo(zombie.Pid(), name, m_Text));
    EXPECT_EQ(name, "morla zombie");
    EXPECT_EQ(m_Text, "") << "it has no path";
    unsigned long peak = 1;
    EXPECT_FALSE(
        CProcess::GetProcessMemoryInfo(zombie.Pid(), &value, &peak, nullptr, nullptr, nullptr));
    EXPECT_EQ(value | peak, 0U);
    if (CProcess::GetProcessName(name, 2) && name == "kthreadd") {
        EXPECT_FALSE(CProcess::GetProcessInfo(2, name, m_Text)) << "a thread of the kernel";
    }
    fs::copy_file("/bin/sleep", "program");
    ASSERT_TRUE(Start("./program 1000"));
    const CIdleChild child(m_Pid);
    while (CProcess::GetProcessName(name, m_Pid) && name != "program") {  // not yet executed
        sched_yield();
    }
    ASSERT_TRUE(CProcess::GetProcessPath(m_Text, m_Pid));
    EXPECT_EQ(m_Text, m_Folder + "/program");
    fs::remove("program");
    ASSERT_TRUE(CProcess::GetProcessPath(m_Text, m_Pid));
    EXPECT_EQ(m_Text, m_Folder + "/program (deleted)");
}

TEST_F(Process, AgreesWithPsOnNamesAndMemory) {
    const CIdleChild child("morla oracle");
    const std::string command = "ps -o vsz=,rss=,comm= -p " + std::to_string(child.Pid());
    const CPipePtr ps(popen(command.c_str(), "r"));
    unsigned long vsz = 0;
    unsigned long rss = 0;
    char name[16]{};
    if (ps == nullptr || std::fscanf(ps.get(), "%lu %lu %15[^\n]", &vsz, &rss, name) != 3) {
        GTEST_SKIP() << "no ps here (package procps)";
    }
    EXPECT_TRUE(CProcess::get_proc_file(static_cast<int>(child.Pid()), "status", m_Text));
    EXPECT_EQ(m_Text, std::string("Name:\t") + name);
    unsigned long size = 1;
    unsigned long other = 1;
    EXPECT_TRUE(
        CProcess::GetProcessMemoryInfo(child.Pid(), &size, nullptr, nullptr, nullptr, &other));
    EXPECT_EQ(size, vsz * 1024);
    const auto figure = [&](const char* key, CProcess::unit unit) {
        unsigned long value = 0;
        EXPECT_TRUE(CProcess::GetProcessMemorySpecificInfo(child.Pid(), &value, key, unit));
        return value;
    };
    EXPECT_EQ(other, size - figure("VmLib:", CProcess::bytes));
    EXPECT_EQ(figure("VmRSS:", CProcess::bytes), rss * 1024);
    EXPECT_EQ(figure("VmRSS:", CProcess::kilobytes), rss);
    EXPECT_EQ(figure("VmRSS:", CProcess::gigabytes), rss / 1024 / 1024);
}

TEST_F(Process, TellsHowAProgramEnded) {
    const std::string script = Script("[ $1 != kill ] || kill -TERM $$; exit $1");
    WriteFile(m_Folder + "/plain", "exit 9\n");
    fs::permissions("plain", fs::perms::owner_all);
    const std::pair<std::string, unsigned int> rows[] = {
        {" \t\ntrue\v\f\r", 0},
        {script + " 7", 7},
        {script + " kill", CProcess::kNoExitCode},
        {"./plain", 9},  // run by the shell, as execvp has it
        {"/no/such/program", 255},
        {"no_such_program_in_the_search_path", 255},
        {m_Folder, 255},
        {" \n", 255},
    };
    for (const auto& [command, exitCode] : rows) {
        EXPECT_EQ(Run(command), exitCode == 0) << command;
        EXPECT_EQ(m_ExitCode, exitCode) << command;
        ASSERT_TRUE(Start(command));
        EXPECT_EQ(Wait(m_Pid), exitCode == 0);
        EXPECT_EQ(m_ExitCode, exitCode) << command;
        EXPECT_FALSE(Wait(m_Pid)) << "reaped before";
        EXPECT_EQ(m_ExitCode, CProcess::kNoExitCode);
    }
    EXPECT_FALSE(CProcess::ExecuteCmd(nullptr, nullptr, true, true));
    ASSERT_TRUE(Run(Script("printf '<%s>' \"$@\" >out") + " 'a   b'\t\"c\"\n$HOME * "));
    EXPECT_EQ(ReadFile("out"), "<'a><b'><\"c\"><$HOME><*>") << "no quoting, no expansion";
}

TEST_F(Process, RunsInADirectoryThatTheCallerEntersMeanwhileAndElseNotAtAll) {
    const std::string mark = Script("(pwd; readlink /proc/$PPID/cwd) >" + m_Folder + "/out");
    for (const char* directory : {"missing", "script", ""}) {
        EXPECT_FALSE(Run(mark, directory) || CProcess::SetCurrentDir(directory));
        EXPECT_TRUE(m_Pid == kUntouched && m_ExitCode == kUntouched);
    }
    EXPECT_FALSE(Exists("out"));
    fs::create_directory("there");
    EXPECT_TRUE(Run(mark, "there"));
    EXPECT_EQ(ReadFile("out"), m_Folder + "/there\n" + m_Folder + "/there\n");
    EXPECT_EQ(CProcess::get_current_directory(), m_Folder);
    ASSERT_TRUE(CProcess::SetCurrentDir("there"));
    EXPECT_FALSE(Run("rmdir there", m_Folder.c_str())) << "there is no way back";
    EXPECT_EQ(m_ExitCode, 0U);

    fs::create_directory("gone");
    ASSERT_TRUE(CProcess::SetCurrentDir("gone"));
    fs::remove(m_Folder + "/gone");
    EXPECT_FALSE(CProcess::GetCurrentDir(m_Text));
    EXPECT_FALSE(Run(mark, m_Folder.c_str()));
    EXPECT_TRUE(Run(mark)) << "without a directory nothing has to be read";
}

// In a child of the test, which changes its limits and filters. Exit status 1: the descriptor
// `fd` reached the program.
int RunWithDescriptor(const std::string& script, int fd, rlim_t limit, bool keep, bool filter) {
    const pid_t child = fork();
    if (child == 0) {
        rlimit limits{};
        getrlimit(RLIMIT_NOFILE, &limits);
        const bool isOpen = dup2(open("/dev/null", O_RDONLY), fd) == fd;
        limits.rlim_cur = limit;
        const bool isReady = isOpen && setrlimit(RLIMIT_NOFILE, &limits) == 0 &&
                             (!filter || AnswerSystemCall(SYS_close_range, ENOSYS));
        unsigned int pid = 0;
        unsigned int exitCode = 99;
        (void)CProcess::ExecuteCmd(script.c_str(), pid, exitCode, nullptr, false, keep);
        _exit(isReady && fcntl(fd, F_GETFD) == 0 ? static_cast<int>(exitCode) : 98);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WEXITSTATUS(status);
}

TEST_F(Process, ClosesDescriptorsInTheChildOnlyUpToTheLimit) {
    const std::string script = Script("[ \"$(readlink /proc/$$/fd/$1)\" != /dev/null ]");
    const struct {
        int Fd;
        rlim_t Limit;
        bool Keep;
        int Status;
    } rows[] = {
        {3, 900, false, 0},   {3, 900, true, 1},
        {700, 900, false, 0}, {700, 300, false, 1},  // open, though above the present limit
        {700, 64, false, 0},                         // below 256 counts as 1,024
    };
    for (const auto& row : rows) {
        for (const bool filter : {false, true}) {
            EXPECT_EQ(RunWithDescriptor(script + " " + std::to_string(row.Fd), row.Fd, row.Limit,
                                        row.Keep, filter),
                      row.Status)
                << row.Fd << " " << row.Limit << (filter ? " filtered" : "");
        }
    }
}

TEST_F(Process, GivesTheProgramTheCallersMaskWithoutTheSignalsOfTheSignalLoop) {
    sigset_t mask{};
    sigset_t before{};
    sigset_t after{};
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGALRM, SIGUSR2, SIGRTMAX}) {
        sigaddset(&mask, signal);
    }
    pthread_sigmask(SIG_SETMASK, &mask, &before);
    EXPECT_TRUE(Run(Script("exec grep ^SigBlk: /proc/self/status >out")));
    pthread_sigmask(SIG_SETMASK, &before, &after);
    EXPECT_EQ(ReadFile("out"), "SigBlk:\t8000000000000800\n") << "the last one, and the user's";
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
        EXPECT_EQ(sigismember(&after, signal), sigismember(&mask, signal)) << signal;
    }
}

volatile sig_atomic_t interruptions = 0;

TEST_F(Process, GoesOnWaitingWhenASignalInterrupts) {
    // The program sends a signal whenever this process sleeps, which it does in the wait alone.
    const std::string script = Script(
        "for round in 1 2 3; do\n"
        "  until grep -q '^State:.S' /proc/$PPID/status; do [ -e /proc/$PPID ] || exit; done\n"
        "  kill -USR1 $PPID\ndone\nexit 5");
    struct sigaction action {};
    struct sigaction before {};
    action.sa_handler = [](int) {
        interruptions = interruptions + 1;
    };
    sigaction(SIGUSR1, &action, &before);
    EXPECT_FALSE(Run(script));
    EXPECT_EQ(m_ExitCode, 5U);
    EXPECT_GE(interruptions, 1);
    sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(Process, WaitsForAndTerminatesOneProcessOnly) {
    const CIdleChild other("other child", CIdleChild::kZombie);
    for (const unsigned int pid : {1U, 0U, CProcess::kNone, 0x80000000U}) {
        EXPECT_FALSE(Wait(pid)) << pid;
    }
    EXPECT_TRUE(Wait(other.Pid())) << "nobody else reaped it";
    ASSERT_TRUE(Start("sleep 1000"));
    EXPECT_TRUE(CProcess::TerminateProcess(m_Pid, 0));
    EXPECT_FALSE(Wait(m_Pid));
    EXPECT_EQ(m_ExitCode, CProcess::kNoExitCode);
    EXPECT_FALSE(CProcess::TerminateProcess(m_Pid, 0));
    // In a child whose kill only pretends: were these passed on, everything would be killed.
    const pid_t child = fork();
    if (child == 0) {
        bool isRight = AnswerSystemCall(SYS_kill, 0) && CProcess::TerminateProcess(1, 0);
        for (const unsigned int pid : {0U, CProcess::kNone, 0x80000000U, 0xFFFFFFFEU}) {
            isRight = isRight && !CProcess::TerminateProcess(pid, 0);
        }
        _exit(isRight ? 0 : 1);
    }
    EXPECT_TRUE(Wait(static_cast<unsigned int>(child)));
}

TEST_F(Process, GoesBackWhenTheWaitingThreadIsCancelled) {
    fs::create_directory("there");
    std::thread thread([this] {
        (void)Run("sleep 1000", "there");
        ADD_FAILURE() << "not cancelled";
    });
    pthread_cancel(thread.native_handle());  // takes effect in the wait, the first place for it
    thread.join();
    EXPECT_EQ(CProcess::get_current_directory(), m_Folder);
    const CIdleChild left(m_Pid);
}

}  // namespace

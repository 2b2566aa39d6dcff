// Starting, waiting for and ending programs.
#include "os/process.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>

#include "tests/os/process_fixture.h"

namespace fs = std::filesystem;

namespace {

constexpr unsigned int kUntouched = 4711;

TEST_F(CProcessTest, TellsHowAProgramEnded) {
    std::ofstream(Folder() + "/no_interpreter_line") << "exit 9\n";
    fs::permissions(Folder() + "/no_interpreter_line", fs::perms::owner_all);
    const std::string seven = Script("seven", "exit 7");
    const std::string killed = Script("killed", "kill -TERM $$");
    const std::string shellText = Folder() + "/no_interpreter_line";
    const struct {
        const char* Command;
        bool Result;
        unsigned int ExitCode;
    } rows[] = {
        {"true", true, 0},
        {"false", false, 1},
        {" \t\ntrue\v\f\r", true, 0},
        {seven.c_str(), false, 7},
        {shellText.c_str(), false, 9},  // as execvp has it: run by the shell
        {killed.c_str(), false, CProcess::kNoExitCode},
        {"/no/such/program", false, 255},
        {"no_such_program_in_the_search_path", false, 255},
        {Folder().c_str(), false, 255},
        {"", false, 255},
        {" \n", false, 255},
        {nullptr, false, 255},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.Command != nullptr ? row.Command : "<null>");
        unsigned int pid = kUntouched;
        unsigned int exitCode = kUntouched;
        EXPECT_EQ(CProcess::ExecuteCmd(row.Command, pid, exitCode, nullptr, false, false),
                  row.Result);
        EXPECT_EQ(exitCode, row.ExitCode);
        EXPECT_NE(pid, kUntouched);
        EXPECT_EQ(CProcess::ExecuteCmd(row.Command, nullptr, true, true), row.Result);
    }
}

TEST_F(CProcessTest, SplitsACommandAtWhiteSpaceWithoutQuoting) {
    const std::string script = Script("arguments", "printf '<%s>' \"$@\" >out");
    ASSERT_TRUE(CProcess::ExecuteCmd((script + " 'a   b'\t\"c\"\n$HOME * ").c_str(), nullptr, false,
                                     false));
    EXPECT_EQ(Text("out"), "<'a><b'><\"c\"><$HOME><*>");
}

TEST_F(CProcessTest, RunsAProgramInADirectoryThatTheCallerEntersMeanwhile) {
    fs::create_directory("there");
    const std::string script = Script("where", "pwd >../out; readlink /proc/$PPID/cwd >>../out");
    unsigned int pid = 0;
    unsigned int exitCode = 0;
    EXPECT_TRUE(CProcess::ExecuteCmd(script.c_str(), pid, exitCode, "there", false, false));
    EXPECT_EQ(Text("out"), Folder() + "/there\n" + Folder() + "/there\n");
    EXPECT_EQ(CProcess::get_current_directory(), Folder());
}

TEST_F(CProcessTest, StartsNothingWhenTheDirectoryCannotBeEnteredOrTheCurrentOneRead) {
    const std::string script = Script("mark", "touch " + Folder() + "/started");
    const auto isRefused = [&](const char* directory) {
        unsigned int pid = kUntouched;
        unsigned int exitCode = kUntouched;
        const bool result =
            CProcess::ExecuteCmd(script.c_str(), pid, exitCode, directory, false, false);
        return !result && pid == kUntouched && exitCode == kUntouched;
    };
    EXPECT_TRUE(isRefused("missing"));
    EXPECT_TRUE(isRefused("mark"));
    EXPECT_TRUE(isRefused(""));
    EXPECT_EQ(CProcess::get_current_directory(), Folder());

    fs::create_directory("gone");
    ASSERT_TRUE(CProcess::SetCurrentDir("gone"));
    fs::remove(Folder() + "/gone");
    EXPECT_TRUE(isRefused(Folder().c_str()));
    EXPECT_FALSE(fs::exists(Folder() + "/started"));
    // Without a directory nothing has to be read.
    EXPECT_TRUE(CProcess::ExecuteCmd(script.c_str(), nullptr, false, false));
    EXPECT_TRUE(fs::exists(Folder() + "/started"));
}

TEST_F(CProcessTest, FailsWhenItCannotGoBack) {
    fs::create_directory("before");
    const std::string script = Script("remove", "rmdir " + Folder() + "/before");
    ASSERT_TRUE(CProcess::SetCurrentDir("before"));
    unsigned int pid = 0;
    unsigned int exitCode = kUntouched;
    EXPECT_FALSE(
        CProcess::ExecuteCmd(script.c_str(), pid, exitCode, Folder().c_str(), false, false));
    EXPECT_EQ(exitCode, 0U);
}

// In a child of the test, which changes its limits and filters. Exit status 1: the descriptor
// `fd` reached the program.
int RunWithDescriptor(const std::string& script, int fd, rlim_t limit, bool keep, bool filter) {
    const pid_t child = fork();
    if (child == 0) {
        const int null = open("/dev/null", O_RDONLY);
        rlimit limits{};
        getrlimit(RLIMIT_NOFILE, &limits);
        const bool isOpen = dup2(null, fd) == fd;
        limits.rlim_cur = limit;
        const bool isReady = isOpen && setrlimit(RLIMIT_NOFILE, &limits) == 0 &&
                             (!filter || AnswerSystemCall(SYS_close_range, ENOSYS));
        unsigned int pid = 0;
        unsigned int exitCode = 99;
        (void)CProcess::ExecuteCmd(script.c_str(), pid, exitCode, nullptr, false, keep);
        _exit(isReady && fcntl(fd, F_GETFD) == 0 ? static_cast<int>(exitCode) : 98);
    }
    unsigned int status = 97;
    (void)CProcess::WaitForExit(static_cast<unsigned int>(child), status, 0);
    return static_cast<int>(status);
}

TEST_F(CProcessTest, ClosesDescriptorsInTheChildOnlyUpToTheLimit) {
    const struct {
        int Fd;
        rlim_t Limit;
        bool Keep;
        int Status;
    } rows[] = {
        {3, 900, false, 0},  {3, 900, true, 1},    {700, 900, false, 0},
        {700, 900, true, 1}, {700, 300, false, 1},  // open, though above the present limit
        {700, 64, false, 0},                        // below 256 counts as 1,024
    };
    for (const auto& row : rows) {
        const std::string number = std::to_string(row.Fd);
        const std::string script = Script(
            "has" + number, "for fd in /proc/$$/fd/*; do [ ${fd##*/} != " + number +
                                " ] || [ \"$(readlink $fd)\" != /dev/null ] || exit 1; done");
        for (const bool filter : {false, true}) {
            SCOPED_TRACE(number + " " + std::to_string(row.Limit) + (filter ? " filtered" : ""));
            EXPECT_EQ(RunWithDescriptor(script, row.Fd, row.Limit, row.Keep, filter), row.Status);
        }
    }
}

std::uint64_t Bit(int signal) {
    return std::uint64_t{1} << (signal - 1);
}

TEST_F(CProcessTest, GivesTheProgramTheCallersMaskWithoutTheSignalsOfTheSignalLoop) {
    const std::string script = Script("mask", "exec grep ^SigBlk: /proc/self/status >out");
    sigset_t mask{};
    sigset_t before{};
    sigemptyset(&mask);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGALRM, SIGUSR2, SIGRTMAX}) {
        sigaddset(&mask, signal);
    }
    pthread_sigmask(SIG_SETMASK, &mask, &before);
    EXPECT_TRUE(CProcess::ExecuteCmd(script.c_str(), nullptr, false, false));
    sigset_t after{};
    pthread_sigmask(SIG_SETMASK, &before, &after);

    const std::string text = Text("out");
    ASSERT_EQ(text.substr(0, 8), "SigBlk:\t");
    EXPECT_EQ(std::stoull(text.substr(8), nullptr, 16), Bit(SIGUSR2) | Bit(SIGRTMAX));
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
        EXPECT_EQ(sigismember(&after, signal), sigismember(&mask, signal)) << signal;
    }
}

volatile sig_atomic_t interruptions = 0;

TEST_F(CProcessTest, GoesOnWaitingWhenASignalInterrupts) {
    // The program sends a signal whenever this process sleeps, which it does in the wait alone.
    const std::string script = Script("interrupt",
                                      "for round in 1 2 3; do\n"
                                      "  until grep -q '^State:.S' /proc/$PPID/status; do :; done\n"
                                      "  kill -USR1 $PPID\n"
                                      "done\n"
                                      "exit 5");
    struct sigaction action {};
    struct sigaction before {};
    action.sa_handler = [](int) {
        interruptions = interruptions + 1;
    };
    sigaction(SIGUSR1, &action, &before);
    unsigned int pid = 0;
    unsigned int exitCode = 0;
    EXPECT_FALSE(CProcess::ExecuteCmd(script.c_str(), pid, exitCode, nullptr, false, false));
    EXPECT_EQ(exitCode, 5U);
    EXPECT_GE(interruptions, 1);

    ASSERT_TRUE(CProcess::ExecuteCmdAsync(script.c_str(), pid, nullptr, false, false));
    EXPECT_FALSE(CProcess::WaitForExit(pid, exitCode, 0));
    EXPECT_EQ(exitCode, 5U);
    sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(CProcessTest, ReapsAnAsynchronousProgramOnce) {
    const std::string script = Script("status", "exit $1");
    for (const unsigned int status : {0U, 1U, 200U}) {
        unsigned int pid = 0;
        unsigned int exitCode = kUntouched;
        ASSERT_TRUE(CProcess::ExecuteCmdAsync((script + " " + std::to_string(status)).c_str(), pid,
                                              nullptr, false, false));
        EXPECT_EQ(CProcess::WaitForExit(pid, exitCode, 1), status == 0);
        EXPECT_EQ(exitCode, status);
        EXPECT_FALSE(CProcess::WaitForExit(pid, exitCode, 1));
        EXPECT_EQ(exitCode, CProcess::kNoExitCode);
    }
    unsigned int pid = 0;
    EXPECT_TRUE(CProcess::ExecuteCmdAsync("/no/such/program", pid, nullptr, false, false));
    unsigned int exitCode = 0;
    EXPECT_FALSE(CProcess::WaitForExit(pid, exitCode, 0));
    EXPECT_EQ(exitCode, 255U);
}

TEST_F(CProcessTest, WaitsForOneChildOnly) {
    const CIdleChild other("other child", CIdleChild::kZombie);
    for (const unsigned int pid : {1U, 0U, CProcess::kNone, 0x80000000U}) {
        unsigned int exitCode = kUntouched;
        EXPECT_FALSE(CProcess::WaitForExit(pid, exitCode, 0)) << pid;
        EXPECT_EQ(exitCode, CProcess::kNoExitCode);
    }
    unsigned int exitCode = kUntouched;
    EXPECT_TRUE(CProcess::WaitForExit(other.Pid(), exitCode, 0));  // nobody else reaped it
}

TEST_F(CProcessTest, TerminatesAProcess) {
    unsigned int pid = 0;
    ASSERT_TRUE(CProcess::ExecuteCmdAsync("sleep 1000", pid, nullptr, false, false));
    EXPECT_TRUE(CProcess::TerminateProcess(pid, 0));
    unsigned int exitCode = kUntouched;
    EXPECT_FALSE(CProcess::WaitForExit(pid, exitCode, 0));
    EXPECT_EQ(exitCode, CProcess::kNoExitCode);
    EXPECT_FALSE(CProcess::TerminateProcess(pid, 0));
}

// In a child whose kill only pretends: were these passed on, everything would be killed.
TEST_F(CProcessTest, DoesNotTerminateGroupsOrEverything) {
    const pid_t child = fork();
    if (child == 0) {
        bool isRight = AnswerSystemCall(SYS_kill, 0) && CProcess::TerminateProcess(1, 0);
        for (const unsigned int pid : {0U, CProcess::kNone, 0x80000000U, 0xFFFFFFFEU}) {
            isRight = isRight && !CProcess::TerminateProcess(pid, 0);
        }
        _exit(isRight ? 0 : 1);
    }
    unsigned int exitCode = kUntouched;
    EXPECT_TRUE(CProcess::WaitForExit(static_cast<unsigned int>(child), exitCode, 0));
}

TEST_F(CProcessTest, GoesBackWhenTheWaitingThreadIsCancelled) {
    fs::create_directory("there");
    unsigned int pid = CProcess::kNone;
    const auto body = [](void* argument) -> void* {
        unsigned int exitCode = 0;
        (void)CProcess::ExecuteCmd("sleep 1000", *static_cast<unsigned int*>(argument), exitCode,
                                   "there", false, false);
        return nullptr;
    };
    pthread_t thread{};
    ASSERT_EQ(pthread_create(&thread, nullptr, body, &pid), 0);
    pthread_cancel(thread);  // takes effect in the wait, the first place where it can
    void* result = nullptr;
    pthread_join(thread, &result);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_EQ(CProcess::get_current_directory(), Folder());
    ASSERT_NE(pid, CProcess::kNone);
    const CIdleChild left(pid);
}

}  // namespace

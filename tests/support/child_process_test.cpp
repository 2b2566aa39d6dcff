#include "tests/support/child_process.h"

#include <signal.h>

#include <cerrno>

#include <gtest/gtest.h>

#include "tests/support/wait_for.h"

namespace {

TEST(ChildProcess, TellsHowItEndedAndWhatItWrote) {
    const struct {
        const char* Script;
        int ExitCode;
        const char* Output;
        const char* ErrorOutput;
    } cases[] = {
        {"exit 0", 0, "", ""},
        {"echo out; echo err >&2; exit 7", 7, "out\n", "err\n"},
        {"echo $VALUE; kill -TERM $$", 128 + SIGTERM, "given\n", ""},
    };
    for (const auto& row : cases) {
        CChildProcess child("/bin/sh", {"-c", row.Script});
        child.SetVariable("VALUE", "given");
        ASSERT_EQ(child.Start(), 0);
        EXPECT_EQ(child.Wait(kGenerousLimit), row.ExitCode) << row.Script;
        EXPECT_EQ(child.Output(), row.Output) << row.Script;
        EXPECT_EQ(child.ErrorOutput(), row.ErrorOutput) << row.Script;
    }
    CChildProcess missing("/no/such/program");
    EXPECT_EQ(missing.Start(), ENOENT);
}

TEST(ChildProcess, IsLeftRunningAtTheLimitAndKilledWithItsOwner) {
    pid_t pid = 0;
    {
        CChildProcess child("/bin/sleep", {"600"});
        ASSERT_EQ(child.Start(), 0);
        pid = child.Pid();
        EXPECT_EQ(child.Wait(std::chrono::milliseconds(1)), std::nullopt);
        EXPECT_EQ(kill(pid, 0), 0);
    }
    EXPECT_EQ(kill(pid, 0), -1);
    EXPECT_EQ(errno, ESRCH);
}

TEST(ChildProcess, ReceivesSignalsThatTheTestBlocks) {
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &blocked, &before), 0);
    CChildProcess child("/bin/sleep", {"600"});
    ASSERT_EQ(child.Start(), 0);
    child.Send(SIGTERM);
    EXPECT_EQ(child.Wait(kGenerousLimit), 128 + SIGTERM);
    ASSERT_EQ(pthread_sigmask(SIG_SETMASK, &before, nullptr), 0);
}

}  // namespace

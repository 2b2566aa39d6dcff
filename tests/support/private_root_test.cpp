// Tests of the launcher, seen from outside: this program itself runs in the machine's root.
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "base/file_ptr.h"
#include "base/unique_fd.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"
#include "tests/support/poll_for.h"
#include "tests/support/wait_for.h"

namespace {

struct Outcome {
    int ExitCode = -1;
    std::string Text;  // standard output and standard error
};

// Runs a line of the shell in which "private_root" stands for the launcher.
Outcome Shell(const std::string& line) {
    const std::string function = "private_root() { '" PRIVATE_ROOT "' \"$@\"; }\n";
    Outcome outcome;
    CPipePtr pipe(popen((function + "exec 2>&1\n" + line).c_str(), "re"));
    if (pipe == nullptr) {
        return outcome;
    }
    std::array<char, 512> bytes{};
    for (std::size_t got = 0; (got = fread(bytes.data(), 1, bytes.size(), pipe.get())) > 0;) {
        outcome.Text.append(bytes.data(), got);
    }
    const int status = pclose(pipe.release());
    outcome.ExitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return outcome;
}

class PrivateRoot : public testing::Test {
protected:
    void SetUp() override {
        if (const Outcome outcome = Shell("private_root -- true"); outcome.ExitCode == 77) {
            GTEST_SKIP() << outcome.Text;
        }
    }
};

TEST_F(PrivateRoot, ExitsAsTheCommandDoes) {
    const struct {
        const char* Line;
        int ExitCode;
    } cases[] = {
        {"private_root -- true", 0},
        {"private_root -- sh -c 'exit 7'", 7},
        {"private_root -- sh -c 'exit 77'", 77},
        {"private_root -- sh -c 'kill -9 $$'", 128 + 9},
        {"private_root -- sh -c 'kill -15 $PPID; sleep 60'", 128 + 15},  // the launcher hands it on
        {"private_root -- /no/such/program", 127},
        {"private_root -- /etc", 126},
        {"private_root --program=/no/such/program -- true", 70},
        {"private_root --program=gzip -- true", 64},
        {"private_root --tmpfs=/var/log -- true", 64},
        {"private_root --unknown -- true", 64},
        {"private_root true", 64},
        {"private_root --", 64},
        {"private_root", 64},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(Shell(row.Line).ExitCode, row.ExitCode) << row.Line;
    }
}

TEST_F(PrivateRoot, LetsTheCommandWriteToRealPathsAndTheMachineKeepsIts) {
    for (const std::string folder :
         {"/etc", "/var/log", "/var/run", "/var/lock", "/run", "/dev", "/dev/shm", "/sys", "/tmp",
          "/usr/bin", "/sbin", "/proc/bus"}) {
        const std::string file = folder + "/morla-private-root-test";
        const Outcome outcome =
            Shell("private_root -- sh -c 'echo text >" + file + "; cat " + file + "'");
        EXPECT_EQ(outcome.Text, "text\n") << folder;
        EXPECT_FALSE(Exists(file)) << folder;
    }
    for (const std::string folder : {"/usr", "/usr/lib", "/proc/sys/kernel", MORLA_SOURCE_TREE}) {
        const Outcome outcome =
            Shell("private_root -- touch " + folder + "/morla-private-root-test");
        EXPECT_EQ(outcome.ExitCode, 1) << folder;
    }
    EXPECT_EQ(Shell("private_root -- test -e /etc/passwd").ExitCode, 1);
}

TEST_F(PrivateRoot, HoldsTheProgramsThatAreAskedFor) {
    const char gzipIsThere[] = " -- sh -c 'test -x /usr/bin/gzip && test -x /bin/gzip'";
    EXPECT_EQ(Shell(std::string("private_root") + gzipIsThere).ExitCode, 1);
    EXPECT_EQ(Shell(std::string("private_root --program=/usr/bin/gzip") + gzipIsThere).ExitCode, 0);
    EXPECT_EQ(
        Shell("private_root --program=/usr/bin/gzip -- sh -c 'echo text | gzip -c | gzip -dc'")
            .Text,
        "text\n");
    EXPECT_EQ(Shell("private_root -- sh -c 'test -e /usr/bin/systemctl'").ExitCode, 1);
    EXPECT_EQ(Shell("private_root -- sh -c 'printf \"#!/bin/sh\\necho own\" >/usr/bin/systemctl;"
                    " chmod +x /usr/bin/systemctl; systemctl'")
                  .Text,
              "own\n");
}

TEST_F(PrivateRoot, IsTheCommandsOwnPidNamespaceWithRoot) {
    EXPECT_EQ(Shell("private_root -- sh -c 'echo $PPID; id -u; set -- /proc/[0-9]*; echo $#'").Text,
              "1\n0\n2\n");  // private_root and sh
    EXPECT_EQ(Shell("VALUE=passed private_root -- sh -c 'echo $VALUE'").Text, "passed\n");
}

TEST_F(PrivateRoot, LimitsAFileSystemWhereAsked) {
    const Outcome outcome = Shell(
        "private_root --tmpfs=/var/log/small:16k -- "
        "sh -c 'head -c 20000 /dev/zero >/var/log/small/file; "
        "stat -c %s /var/log/small/file'");
    EXPECT_NE(outcome.Text.find("No space left"), std::string::npos) << outcome.Text;
    EXPECT_NE(outcome.Text.find("\n16384\n"), std::string::npos) << outcome.Text;
}

TEST_F(PrivateRoot, EndsWithWhatTheCommandLeavesRunning) {
    // The pipe's end comes when no process holds it any more.
    EXPECT_EQ(Shell("private_root -- sh -c 'sleep 600 & exit 3'").ExitCode, 3);
}

TEST_F(PrivateRoot, EndsWhenItsLauncherIsKilled) {
    CChildProcess launcher(PRIVATE_ROOT, {"--", "/bin/sh", "-c", "echo ready; exec sleep 600"});
    ASSERT_EQ(launcher.Start(), 0);
    ASSERT_TRUE(WaitUntil([&] { return launcher.Output() == "ready\n"; }, "/tmp"));
    const std::string pid = std::to_string(launcher.Pid());
    const int init = std::atoi(ReadFile("/proc/" + pid + "/task/" + pid + "/children").c_str());
    ASSERT_GT(init, 0);
    const CUniqueFd process(static_cast<int>(syscall(SYS_pidfd_open, init, 0)));
    launcher.Send(SIGKILL);
    // When the first process of a PID namespace has ended, all others have.
    EXPECT_TRUE(IsReadableWithin(process.Get(), kGenerousLimit));
}

TEST_F(PrivateRoot, WorksForAnOrdinaryUser) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "every other case ran as an ordinary user";
    }
    const std::string ordinary =
        "setpriv --reuid=65534 --regid=65534 --clear-groups '" PRIVATE_ROOT "'";
    if (Shell("setpriv --reuid=65534 --regid=65534 --clear-groups test -x '" PRIVATE_ROOT "'")
            .ExitCode != 0) {
        GTEST_SKIP() << "an ordinary user does not reach the build tree";
    }
    const Outcome outcome = Shell(ordinary +
                                  " --program=/usr/bin/gzip -- sh -c 'id -u; echo text >/etc/file;"
                                  " cat /etc/file; gzip -c /etc/file | gzip -dc; exit 9'");
    if (outcome.ExitCode == 77) {
        GTEST_SKIP() << outcome.Text;
    }
    EXPECT_EQ(outcome.Text, "0\ntext\ntext\n");
    EXPECT_EQ(outcome.ExitCode, 9);
}

}  // namespace

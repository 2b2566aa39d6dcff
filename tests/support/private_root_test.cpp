// Tests of the launcher, seen from outside: this program itself runs in the machine's root.
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "base/file_ptr.h"
#include "tests/support/files.h"
#include "tests/support/private_root_guard.h"

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
    for (const auto& [line, code] : {
             std::pair{"private_root -- sh -c 'exit 7'", 7},
             {"private_root -- sh -c 'kill -9 $$'", 128 + 9},
             {"private_root -- sh -c 'kill -15 $PPID; sleep 60'", 128 + 15},  // handed on
             {"private_root -- sh -c 'sleep 600 & exit 3'", 3},               // and left running
             {"private_root -- /no/such/program", 127},
             {"private_root -- /etc", 126},
             {"private_root --program=/no/such/program -- true", 70},
             {"private_root --tmpfs=/var/log -- true", 64},
             {"private_root --unknown -- true", 64},
             {"private_root", 64},
         }) {
        EXPECT_EQ(Shell(line).ExitCode, code) << line;
    }
}

TEST_F(PrivateRoot, LetsTheCommandWriteToRealPathsAndTheMachineKeepsIts) {
    EXPECT_EXIT(RequirePrivateRoot(), testing::ExitedWithCode(EXIT_FAILURE), "Run it through ctest")
        << "a test that writes is refused outside";
    for (const std::string folder :
         {"/etc", "/var/log", "/var/run", "/var/lock", "/run", "/dev", "/dev/shm", "/sys", "/tmp",
          "/usr/bin", "/sbin", "/proc/bus"}) {
        const std::string file = folder + "/morla-private-root-test";
        const Outcome outcome =
            Shell("private_root -- sh -c 'echo text >" + file + "; cat " + file + "'");
        EXPECT_EQ(outcome.Text, "text\n") << folder;
        EXPECT_FALSE(Exists(file)) << folder;
    }
    for (const std::string folder : {"/usr/lib", "/proc/sys/kernel", MORLA_SOURCE_TREE}) {
        const Outcome outcome =
            Shell("private_root -- touch " + folder + "/morla-private-root-test");
        EXPECT_EQ(outcome.ExitCode, 1) << folder;
    }
    EXPECT_EQ(Shell("private_root -- test -e /etc/passwd").ExitCode, 1);
    EXPECT_EQ(Shell("private_root -- sh -c 'echo $PPID; id -u; set -- /proc/[0-9]*; echo $#'").Text,
              "1\n0\n2\n");  // private_root and sh
}

TEST_F(PrivateRoot, HoldsTheProgramsAndFileSystemsThatAreAskedFor) {
    EXPECT_EQ(
        Shell("private_root -- sh -c 'test -e /bin/gzip || test -e /usr/bin/systemctl'").ExitCode,
        1);
    EXPECT_EQ(
        Shell("private_root --program=/usr/bin/gzip -- sh -c 'echo text | gzip -c | gzip -dc'")
            .Text,
        "text\n");
    const Outcome outcome = Shell(
        "private_root --tmpfs=/var/log/small:16k -- "
        "sh -c 'head -c 20000 /dev/zero >/var/log/small/file; wc -c </var/log/small/file'");
    EXPECT_NE(outcome.Text.find("No space left"), std::string::npos) << outcome.Text;
    EXPECT_TRUE(outcome.Text.ends_with("\n16384\n")) << outcome.Text;
}

TEST_F(PrivateRoot, EndsWhenItsLauncherIsKilled) {
    // The pipe's end comes when no process of the namespace holds it any more.
    const Outcome outcome = Shell("sh -c \"echo \\$\\$; exec '" PRIVATE_ROOT
                                  "' -- sh -c 'echo on; sleep 600'\" |"
                                  " { read pid; read on; kill -9 $pid; cat; echo $on; }");
    EXPECT_TRUE(outcome.Text.ends_with("on\n")) << outcome.Text;
}

TEST_F(PrivateRoot, WorksForAnOrdinaryUser) {
    const std::string ordinary = "setpriv --reuid=65534 --regid=65534 --clear-groups ";
    if (Shell(ordinary + "test -x '" PRIVATE_ROOT "'").ExitCode != 0) {
        GTEST_SKIP() << "no root, or an ordinary user does not reach the build tree";
    }
    const Outcome outcome =
        Shell(ordinary + "'" PRIVATE_ROOT
                         "' --program=/usr/bin/gzip -- sh -c 'id -u; "
                         "echo text >/etc/file; gzip -c /etc/file | gzip -dc; exit 9'");
    if (outcome.ExitCode == 77) {
        GTEST_SKIP() << outcome.Text;
    }
    EXPECT_EQ(outcome.Text, "0\ntext\n");
    EXPECT_EQ(outcome.ExitCode, 9);
}

}  // namespace

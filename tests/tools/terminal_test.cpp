// The real morlactl writes to a terminal, and to a pipe.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "base/unique_fd.h"
#include "tests/os/idle_child.h"

namespace {

// Runs "morlactl process show" with both outputs on `output`, which it closes.
void ShowProcess(unsigned int pid, CUniqueFd output) {
    const std::string number = std::to_string(pid);
    const pid_t child = fork();
    if (child == 0) {
        dup2(output.Get(), STDOUT_FILENO);
        dup2(output.Get(), STDERR_FILENO);
        execl(MORLACTL, "morlactl", "process", "show", number.c_str(), nullptr);
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

// What arrived, up to the end of the file or, from a terminal, the error that stands for it.
std::string ReadAll(int fd) {
    std::string text;
    char block[4096];
    for (ssize_t got = read(fd, block, sizeof block); got > 0;
         got = read(fd, block, sizeof block)) {
        text.append(block, static_cast<std::size_t>(got));
    }
    return text;
}

TEST(Terminal, SeesControlBytesEscapedAndAPipeSeesThemAsTheyAre) {
    const CIdleChild evil("evil\x1b[2J\x07\x9b");
    const CUniqueFd terminal(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!terminal.IsValid() || grantpt(terminal.Get()) != 0 || unlockpt(terminal.Get()) != 0) {
        GTEST_SKIP() << "no pseudo-terminals here";
    }
    char name[64]{};
    ASSERT_EQ(ptsname_r(terminal.Get(), name, sizeof name), 0);
    ShowProcess(evil.Pid(), CUniqueFd(open(name, O_RDWR | O_NOCTTY | O_CLOEXEC)));
    const std::string seen = ReadAll(terminal.Get());
    EXPECT_NE(seen.find("evil\\x1b[2J\\x07\\x9b\r\n"), std::string::npos) << seen;
    EXPECT_EQ(seen.find('\x1b'), std::string::npos);

    int ends[2]{};
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const CUniqueFd reader(ends[0]);
    ShowProcess(evil.Pid(), CUniqueFd(ends[1]));
    EXPECT_NE(ReadAll(reader.Get()).find("evil\x1b[2J\x07\x9b\n"), std::string::npos);
}

}  // namespace

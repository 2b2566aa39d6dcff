// The real morlactl writes to a terminal, and to a pipe.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "base/unique_fd.h"
#include "tests/os/idle_child.h"
#include "tests/support/files.h"

namespace {

// Runs morlactl with both outputs on `output`, which it closes.
void RunMorlactl(std::vector<std::string> arguments, CUniqueFd output) {
    std::vector<char*> words{const_cast<char*>("morlactl")};  // NOLINT(*-const-cast)
    for (std::string& argument : arguments) {
        words.push_back(argument.data());
    }
    words.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        dup2(output.Get(), STDOUT_FILENO);
        dup2(output.Get(), STDERR_FILENO);
        execv(MORLACTL, words.data());
        _exit(127);
    }
    output.Reset();
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

void ShowProcess(unsigned int pid, CUniqueFd output) {
    RunMorlactl({"process", "show", std::to_string(pid)}, std::move(output));
}

struct CTerminal {
    CUniqueFd Master{posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)};
    CUniqueFd Slave;
    // False where there are no pseudo-terminals.
    bool Open() {
        char name[64]{};
        if (!Master.IsValid() || grantpt(Master.Get()) != 0 || unlockpt(Master.Get()) != 0 ||
            ptsname_r(Master.Get(), name, sizeof name) != 0) {
            return false;
        }
        Slave.Reset(open(name, O_RDWR | O_NOCTTY | O_CLOEXEC));
        return Slave.IsValid();
    }
};

// A variable until the end of a block; null: not set.
class CFreshVariable {
public:
    CFreshVariable(const char* name, const char* value) : m_Name(name) {
        const char* const before = std::getenv(name);
        m_HadOne = before != nullptr;
        m_Before = m_HadOne ? before : "";
        Set(value);
    }
    ~CFreshVariable() { Set(m_HadOne ? m_Before.c_str() : nullptr); }
    CFreshVariable(const CFreshVariable&) = delete;
    CFreshVariable& operator=(const CFreshVariable&) = delete;

private:
    void Set(const char* value) const {
        if (value != nullptr) {
            setenv(m_Name, value, 1);
        } else {
            unsetenv(m_Name);
        }
    }
    const char* m_Name;
    bool m_HadOne = false;
    std::string m_Before;
};

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
    CTerminal terminal;
    if (!terminal.Open()) {
        GTEST_SKIP() << "no pseudo-terminals here";
    }
    ShowProcess(evil.Pid(), std::move(terminal.Slave));
    const std::string seen = ReadAll(terminal.Master.Get());
    EXPECT_NE(seen.find("evil\\x1b[2J\\x07\\x9b\r\n"), std::string::npos) << seen;
    EXPECT_EQ(seen.find('\x1b'), std::string::npos);

    int ends[2]{};
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const CUniqueFd reader(ends[0]);
    ShowProcess(evil.Pid(), CUniqueFd(ends[1]));
    EXPECT_NE(ReadAll(reader.Get()).find("evil\x1b[2J\x07\x9b\n"), std::string::npos);
}

// The last one finds no pager at all, and then no shell either.
TEST(Terminal, ShowsATraceThroughThePagerThatThereIs) {
    const std::string folder = testing::TempDir() + "morla-pager-" + std::to_string(getpid());
    const std::string file = folder + "/log";
    Remove(folder);
    MakeDirectories(folder);
    WriteFile(file, "2024-03-07 14:05:10.042 [00F5A7C0] zentd         text\n");
    ASSERT_EQ(symlink("/bin/sh", (folder + "/sh").c_str()), 0);
    ASSERT_EQ(symlink("/bin/cat", (folder + "/cat").c_str()), 0);
    const struct {
        const char* Pager;
        std::string Path;
        const char* Shown;
    } rows[] = {{"/usr/bin/sed s/^/paged:/", folder, "paged:2024-"},
                {"absent-pager --option", folder, "zentd         text"},
                {"", folder, "zentd         text"},
                {nullptr, folder, "zentd         text"},
                {"absent-pager", "/none", "zentd         text"}};
    for (const auto& row : rows) {
        const CFreshVariable pager("PAGER", row.Pager);
        const CFreshVariable path("PATH", row.Path.c_str());
        CTerminal terminal;
        if (!terminal.Open()) {
            GTEST_SKIP() << "no pseudo-terminals here";
        }
        RunMorlactl({"trace", "show", "--color", "never", file}, std::move(terminal.Slave));
        const std::string seen = ReadAll(terminal.Master.Get());
        EXPECT_NE(seen.find(row.Shown), std::string::npos) << seen;
    }
    Remove(folder);
}

// Twenty rows of 0.1 s; the busiest one has the longest bar, and the names that are most frequent
// are told.
TEST(Terminal, DrawsWhenATraceWasBusy) {
    const std::string file = testing::TempDir() + "morla-chart-" + std::to_string(getpid());
    std::string trace;
    for (int i = 0; i < 15; ++i) {
        trace +=
            "2024-03-07 14:05:10.042 [00F5A7C0] source" + std::to_string(100 + i) + "     text\n";
    }
    trace +=
        "2024-03-07 14:05:12.042 [00F5A7C1] source100     text\n"
        "2024-03-07 14:05:11.500 [00F5A7C1] source100     the clock was set back\n";
    WriteFile(file, trace);
    CTerminal terminal;
    if (!terminal.Open()) {
        GTEST_SKIP() << "no pseudo-terminals here";
    }
    RunMorlactl({"trace", "stat", file}, std::move(terminal.Slave));
    const std::string seen = ReadAll(terminal.Master.Get());
    for (const std::string text :
         {"nothing for 2.000 s from 2024-03-07 14:05:10.042", "the time goes back 1 times",
          "           3  source100\r\n", "and 3 more",
          "  14:05:10.042       15 ##################################################\r\n",
          "  14:05:10.142        0\r\n", "  14:05:11.942        1 ####\r\n"}) {
        EXPECT_NE(seen.find(text), std::string::npos) << text << seen;
    }
    Remove(file);
}

}  // namespace

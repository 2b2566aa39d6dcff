#include "tests/os/process_fixture.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

CProcessTest::CProcessTest() : m_Before(fs::current_path()) {
    std::string folder = fs::temp_directory_path() / "process_test.XXXXXX";
    EXPECT_NE(mkdtemp(folder.data()), nullptr);
    m_Folder = fs::canonical(folder);
    fs::current_path(m_Folder);
}

CProcessTest::~CProcessTest() {
    fs::current_path(m_Before);
    std::error_code ignored;
    fs::remove_all(m_Folder, ignored);
}

std::string CProcessTest::Script(const std::string& name, const std::string& text) const {
    const std::string path = m_Folder + "/" + name;
    std::ofstream(path) << "#!/bin/sh\n" << text << "\n";
    fs::permissions(path, fs::perms::owner_all);
    return path;
}

std::string CProcessTest::Text(const std::string& name) const {
    std::ifstream file(m_Folder + "/" + name);
    return {std::istreambuf_iterator<char>(file), {}};
}

void CProcessTest::CopyProgram(const std::string& from, const std::string& to) {
    fs::copy_file(from, to);
}

CIdleChild::CIdleChild(const std::string& name, Kind kind) {
    int ready[2]{};
    EXPECT_EQ(pipe(ready), 0);
    m_Pid = fork();
    if (m_Pid == 0) {
        prctl(PR_SET_NAME, name.c_str());
        close(ready[0]);
        if (kind == kZombie) {
            _exit(0);
        }
        close(ready[1]);
        for (;;) {
            pause();
        }
    }
    close(ready[1]);
    char none = 0;
    EXPECT_EQ(read(ready[0], &none, 1), 0);  // the end of the file: the child has closed its side
    close(ready[0]);
    if (kind == kZombie) {
        siginfo_t info{};
        EXPECT_EQ(waitid(P_PID, static_cast<id_t>(m_Pid), &info, WEXITED | WNOWAIT), 0);
    }
}

CIdleChild::~CIdleChild() {
    kill(m_Pid, SIGKILL);
    waitpid(m_Pid, nullptr, 0);
}

bool AnswerSystemCall(long number, int error) {
    sock_filter filter[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned int>(number), 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned int>(error)),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program = {static_cast<unsigned short>(std::size(filter)), filter};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

// A child of a test that does nothing until it is ended, at the latest with its object.
#pragma once

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include <gtest/gtest.h>

class CIdleChild {
public:
    enum Kind { kRunning, kZombie };
    // Returns when the child has its name and stands still or, as a zombie, has ended unreaped.
    explicit CIdleChild(const std::string& name, Kind kind = kRunning) : m_Pid(fork()) {
        if (m_Pid == 0) {
            prctl(PR_SET_NAME, name.c_str());
            while (kind == kRunning) {
                raise(SIGSTOP);
            }
            _exit(0);
        }
        siginfo_t info{};
        const auto id = static_cast<id_t>(m_Pid);
        EXPECT_EQ(waitid(P_PID, id, &info, WEXITED | WSTOPPED | WNOWAIT), 0);
    }
    // Takes over a process that somebody else started.
    explicit CIdleChild(unsigned int pid) : m_Pid(static_cast<pid_t>(pid)) {}
    ~CIdleChild() {
        kill(m_Pid, SIGKILL);
        waitpid(m_Pid, nullptr, 0);
    }
    CIdleChild(const CIdleChild&) = delete;
    CIdleChild& operator=(const CIdleChild&) = delete;

    [[nodiscard]] unsigned int Pid() const { return static_cast<unsigned int>(m_Pid); }

private:
    const pid_t m_Pid;
};

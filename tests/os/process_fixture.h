// What the tests of processes share: a folder with scripts, children with given names, filters.
#pragma once

#include <sys/types.h>

#include <string>

#include <gtest/gtest.h>

// A temporary folder that is the current one while a test runs.
class CProcessTest : public testing::Test {
protected:
    CProcessTest();
    ~CProcessTest() override;

    // Writes an executable shell script into the folder and returns its path.
    [[nodiscard]] std::string Script(const std::string& name, const std::string& text) const;
    // The text of a file in the folder.
    [[nodiscard]] std::string Text(const std::string& name) const;
    // Copies a program of the machine.
    static void CopyProgram(const std::string& from, const std::string& to);

    const std::string& Folder() const { return m_Folder; }

private:
    std::string m_Before;
    std::string m_Folder;
};

// A child of the test that does nothing until it is ended, at the latest with this object.
class CIdleChild {
public:
    enum Kind { kRunning, kZombie };
    // Returns when the child has its name (and, for a zombie, has ended without being reaped).
    explicit CIdleChild(const std::string& name, Kind kind = kRunning);
    // Takes over a process that somebody else started.
    explicit CIdleChild(unsigned int pid) : m_Pid(static_cast<pid_t>(pid)) {}
    ~CIdleChild();
    CIdleChild(const CIdleChild&) = delete;
    CIdleChild& operator=(const CIdleChild&) = delete;

    [[nodiscard]] unsigned int Pid() const { return static_cast<unsigned int>(m_Pid); }

private:
    pid_t m_Pid;
};

// From now on this process, and its children, get `error` (0: success) in place of a system call.
// For the child process of a test only: it cannot be undone.
bool AnswerSystemCall(long number, int error);

// A program that a test starts, watches and ends.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/unique_fd.h"

// Owns one child process: it is killed, by its own process id, when the object goes. Standard
// output and standard error are kept in memory, so that the child never blocks on them. Used by
// one thread.
class CChildProcess {
public:
    explicit CChildProcess(std::string program, std::vector<std::string> arguments = {})
        : m_Program(std::move(program)), m_Arguments(std::move(arguments)) {}
    ~CChildProcess();
    CChildProcess(const CChildProcess&) = delete;
    CChildProcess& operator=(const CChildProcess&) = delete;

    // Before Start: the child's environment is the test's with these changes.
    void SetVariable(const std::string& name, const std::string& value);

    // Starts the program, found by path, with no signal blocked. 0 or an errno number.
    [[nodiscard]] int Start();
    [[nodiscard]] pid_t Pid() const { return m_Pid; }  // 0 before Start and after the end
    void Send(int signal) const;
    // The exit status, or 128 and the number of the signal that ended it; nothing while it runs
    // on beyond the time limit.
    [[nodiscard]] std::optional<int> Wait(std::chrono::milliseconds limit);

    // What the program has written so far.
    [[nodiscard]] std::string Output() const;
    [[nodiscard]] std::string ErrorOutput() const;

private:
    [[nodiscard]] std::vector<std::string> Environment() const;

    std::string m_Program;
    std::vector<std::string> m_Arguments;  // without the program's name
    std::map<std::string, std::string> m_Variables;
    pid_t m_Pid = 0;
    CUniqueFd m_Process;  // a pidfd: readable when the process has ended
    CUniqueFd m_Output;
    CUniqueFd m_ErrorOutput;
    std::optional<int> m_ExitCode;
};

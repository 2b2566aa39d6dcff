// Runs programs with the bare calls.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace bench {

// Starts a program by path; standard output goes to /dev/null when `isQuiet`. Throws
// std::runtime_error.
pid_t StartProgram(const std::vector<std::string>& words, bool isQuiet = false);

// Runs it to its end. Throws std::runtime_error unless it ends with status 0.
void RunProgram(const std::vector<std::string>& words, bool isQuiet = false);

// A program that is killed when the object goes.
class CRunningProgram {
public:
    explicit CRunningProgram(const std::vector<std::string>& words)
        : m_Pid(StartProgram(words, true)) {}
    ~CRunningProgram();
    CRunningProgram(const CRunningProgram&) = delete;
    CRunningProgram& operator=(const CRunningProgram&) = delete;

    [[nodiscard]] pid_t Pid() const { return m_Pid; }
    // Waits until the condition holds, up to ten seconds. Throws std::runtime_error.
    template <typename Condition>
    void WaitFor(Condition condition) const {
        for (int i = 0; !condition(); ++i) {
            Pause(i);
        }
    }

private:
    static void Pause(int turn);
    pid_t m_Pid;
};

}  // namespace bench

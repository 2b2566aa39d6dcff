// Runs a program that may crash, hang or fork, and collects the lines that it reports.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace switch_check {

struct ChildResult {
    int Error = 0;  // 0, or the errno number with which the program could not be started
    bool IsTimedOut = false;
    int WaitStatus = 0;  // as waitpid has it; SIGKILL when it was timed out
    std::string Report;  // what it wrote to kReportFd, at most a mebibyte
};

// Starts the program at `command[0]`, in a process group of its own, with kReportFd open and its
// standard streams at the null device. Waits until it ends, or kills it after `limit`; whatever is
// left of its group is then killed too.
[[nodiscard]] ChildResult RunChild(std::vector<std::string> command,
                                   std::chrono::milliseconds limit);

}  // namespace switch_check

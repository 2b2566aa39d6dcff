// Runs a command, and makes one of its system calls fail.
#pragma once

#include <sys/types.h>
#include <sys/user.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <optional>
#include <set>

#include "base/file_ptr.h"
#include "scripts/faults/injector/order.h"

// Follows the command and every process and thread that it makes, until the last of them has ended.
// Calls are counted over all processes that run the command's own program; what they execute (a
// shell, a compressor) is let go and only waited for.
//
// The report, a line each:
//     call NUMBER PROCESS NAME ORDINAL ARGUMENTS... PATH    with --list, in the order of the calls
//     injected NAME ARGUMENTS... PATH
//     open DESCRIPTOR TARGET     when the command waits for a signal: what it has open
//     map TARGET                 ... and which files are mapped writable
//     end own|other exit|signal NUMBER
//     hang                       the limit was reached
class CTracer {
public:
    explicit CTracer(const Order& order) : m_Order(order) {}

    // False when the command could not be started under the injector.
    bool Run();

private:
    struct Task {
        pid_t Process = 0;
        bool IsOwn = true;      // runs the command's program
        bool IsPaused = false;  // stopped until its parent tells of it
        // What the call that is being made returns with, when it has to be put right at its end:
        // the registers as the call began, with the result where that is given.
        std::optional<user_regs_struct> AtEnd = std::nullopt;
        bool HasResult = false;
    };

    bool Start();
    [[noreturn]] void BecomeCommand() const;
    void Follow();
    void TakeStop(pid_t task, int status);
    void TakeNewTask(pid_t task, unsigned int event);
    void TakeCall(pid_t task);
    void TakeEnd(pid_t task, int status);
    // True when the call is not made.
    bool Inject(pid_t task, user_regs_struct& registers);
    void TakeWait(pid_t task);
    void FinishCall(pid_t task);
    void Describe(const char* what, pid_t task, const user_regs_struct& registers) const;
    [[nodiscard]] bool IsAt(long call) const;
    void KillAll() const;

    const Order& m_Order;
    CFilePtr m_Report;
    std::map<pid_t, Task> m_Tasks;
    std::map<pid_t, int> m_ProcessNumbers;
    std::set<pid_t> m_Early;  // stopped before their parents told of them
    std::map<long, std::uint64_t> m_Counts;
    std::uint64_t m_Total = 0;
    bool m_IsCounting = false;
    bool m_IsExecuted = false;
    bool m_IsStopSent = false;
};

// Kills a process at a chosen system call, to prove that work on files survives a crash anywhere.
//
//     for (std::size_t ordinal = 1;; ++ordinal) {
//         const KilledRun run = KillAtSystemCall(ordinal, prepare, action);
//         ... look at what is left on the disk ...
//         if (!run.WasKilled) break;  // the action was through before that call
//     }
//
// What a killed process wrote stays in the page cache: this shows the order of the calls, and what
// another process finds, but not what a power failure would leave.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

struct KilledRun {
    bool IsTraceable = false;  // false: this system lets no process be traced; nothing else counts
    bool WasKilled = false;    // false: the action ended before its `ordinal`-th call
    std::vector<long> Calls;   // numbers of the calls begun, in order; the last was not carried out
};

// Forks. The child runs `prepare`, then `action`, and is killed as it enters the `ordinal`-th
// system call (from 1) of the action. For a caller without threads.
KilledRun KillAtSystemCall(std::size_t ordinal, const std::function<void()>& prepare,
                           const std::function<void()>& action);

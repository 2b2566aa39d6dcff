// Stands between the code under test and the few system calls whose moment a test must know.
//
// The linker hands the calls over (--wrap); each one goes on to the real one unless a test asks for
// something else.
#pragma once

#include <atomic>
#include <ctime>

namespace system_calls {

// Threads that have gone to sleep in a condition wait so far. Counted under the waited mutex: who
// sees the count and then takes that mutex finds the thread asleep.
inline std::atomic<int> ConditionWaits{0};
// The next condition waits return EINTR, so many times.
inline std::atomic<int> InterruptedWaits{0};
// Condition waits with a deadline time out at once; the deadline is kept.
inline std::atomic<bool> TimesOutAtOnce{false};
inline timespec LastDeadline{};
// Calls of nanosleep, which only yields, and what the last one asked for in seconds.
inline std::atomic<int> Sleeps{0};
inline std::atomic<long> LastSleepSeconds{0};

// Blocks until `counter` has reached `value`.
inline void Await(const std::atomic<int>& counter, int value) {
    for (int seen = counter; seen < value; seen = counter) {
        counter.wait(seen);
    }
}

}  // namespace system_calls

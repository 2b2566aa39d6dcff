// The one mechanism behind every comparison: interleaved pairs of measurements and their ratio.
//
// Absolute times differ from machine to machine and from minute to minute; the two measurements of
// a pair stand side by side, so their ratio does not. The result is the median of the ratios, with
// the quartiles as its spread.
#pragma once

#include <sched.h>

#include <cstddef>
#include <functional>
#include <vector>

namespace bench {

// One measurement of one side, in the comparison's unit: nanoseconds for one call, or KiB.
using Sample = std::function<double()>;
// Does the work `count` times.
using Work = std::function<void(std::size_t count)>;

struct Settings {
    bool IsQuick = false;
    [[nodiscard]] int Pairs() const { return IsQuick ? 9 : 25; }
};

struct Ratio {
    double Ours = 0;    // medians
    double Peer = 0;    //
    double Median = 0;  // of ours / peer in each pair
    double Low = 0;     // first quartile
    double High = 0;    // third quartile
    int Pairs = 0;
};

enum class Clock {
    kThread,   // the processor time of the calling thread: others on the core do not count
    kProcess,  // the same of all threads of this process
    kWall,     // for work that other threads or processes take part in
};

// A sample of the time that one call takes. A batch is as many calls as fill some milliseconds.
Sample TimePerCall(Work work, Clock clock = Clock::kThread);

// The same where every call needs a preparation that is not measured: the median of some calls.
Sample TimeOfOne(std::function<void()> prepare, std::function<void()> work, int calls = 51);

// Ours, peer, ours, peer; one round before that warms both up.
Ratio ComparePairs(const Sample& ours, const Sample& peer, int pairs);

double Median(std::vector<double> values);

// Nanoseconds of a clock.
double Now(Clock clock);

// Keeps the calling thread, and threads that it starts, on one core while it lives, where the
// system allows it.
class CPinnedToOneCore {
public:
    CPinnedToOneCore();
    ~CPinnedToOneCore();
    CPinnedToOneCore(const CPinnedToOneCore&) = delete;
    CPinnedToOneCore& operator=(const CPinnedToOneCore&) = delete;

private:
    cpu_set_t m_Before{};
};

// Makes the compiler believe that `value` is used, and that memory was looked at.
template <typename T>
void Keep(const T& value) {
    asm volatile("" : : "r,m"(value) : "memory");
}

}  // namespace bench

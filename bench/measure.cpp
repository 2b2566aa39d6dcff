#include "bench/measure.h"

#include <algorithm>
#include <ctime>
#include <optional>
#include <utility>

namespace bench {

namespace {

constexpr double kBatchNanoseconds = 8e6;  // long against the clock's own cost and resolution

double Quantile(std::vector<double> values, double part) {
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(part * static_cast<double>(values.size() - 1) + 0.5)];
}

double TimeOf(const Work& work, std::size_t count, Clock clock) {
    const double start = Now(clock);
    work(count);
    return Now(clock) - start;
}

std::size_t FindBatchSize(const Work& work, Clock clock) {
    std::size_t count = 1;
    double time = TimeOf(work, count, clock);
    while (time < kBatchNanoseconds / 4) {
        count *= 4;
        time = TimeOf(work, count, clock);
    }
    const double wanted = static_cast<double>(count) * kBatchNanoseconds / time;
    return std::max<std::size_t>(1, static_cast<std::size_t>(wanted));
}

}  // namespace

double Now(Clock clock) {
    const clockid_t id = clock == Clock::kThread    ? CLOCK_THREAD_CPUTIME_ID
                         : clock == Clock::kProcess ? CLOCK_PROCESS_CPUTIME_ID
                                                    : CLOCK_MONOTONIC;
    timespec now{};
    clock_gettime(id, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

double Median(std::vector<double> values) {
    return Quantile(std::move(values), 0.5);
}

Sample TimePerCall(Work work, Clock clock) {
    return [work = std::move(work), clock, count = std::size_t{0}]() mutable {
        std::optional<CPinnedToOneCore> pinned;
        if (clock == Clock::kThread) {
            pinned.emplace();
        }
        if (count == 0) {
            count = FindBatchSize(work, clock);
        }
        return TimeOf(work, count, clock) / static_cast<double>(count);
    };
}

Sample TimeOfOne(std::function<void()> prepare, std::function<void()> work, int calls) {
    return [prepare = std::move(prepare), work = std::move(work), calls] {
        std::vector<double> times;
        for (int i = 0; i < calls; ++i) {
            prepare();
            const double start = Now(Clock::kWall);
            work();
            times.push_back(Now(Clock::kWall) - start);
        }
        return Median(std::move(times));
    };
}

Ratio ComparePairs(const Sample& ours, const Sample& peer, int pairs) {
    (void)ours();
    (void)peer();
    std::vector<double> ourValues;
    std::vector<double> peerValues;
    std::vector<double> ratios;
    for (int i = 0; i < pairs; ++i) {
        ourValues.push_back(ours());
        peerValues.push_back(peer());
        ratios.push_back(ourValues.back() / peerValues.back());
    }
    return {Median(ourValues),      Median(peerValues),     Median(ratios),
            Quantile(ratios, 0.25), Quantile(ratios, 0.75), pairs};
}

CPinnedToOneCore::CPinnedToOneCore() {
    if (sched_getaffinity(0, sizeof m_Before, &m_Before) != 0) {
        CPU_ZERO(&m_Before);
        return;
    }
    const int current = sched_getcpu();
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<unsigned int>(std::max(current, 0)), &one);
    (void)sched_setaffinity(0, sizeof one, &one);
}

CPinnedToOneCore::~CPinnedToOneCore() {
    if (CPU_COUNT(&m_Before) > 0) {
        (void)sched_setaffinity(0, sizeof m_Before, &m_Before);
    }
}

}  // namespace bench

// Entries above the level: what tracing costs where it is off.
#include "bench/baseline.h"
#include "bench/comparison.h"
#include "bench/peers.h"
#include "bench/trace_setup.h"

namespace bench {

namespace {

constexpr unsigned int kAbove = 6;

void PrintAboveLevel(CDebug& debug, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        debug.CDebug::Print(kAbove, "FAN %d: %u rpm in zone %s", static_cast<int>(i & 7U), 4711U,
                            "rear");
    }
}

template <auto Drop>
void CallBaseline(std::size_t count) {
    static std::atomic<unsigned int> level{3};
    for (std::size_t i = 0; i < count; ++i) {
        Drop(level, kAbove, "FAN %d: %u rpm in zone %s", static_cast<int>(i & 7U), 4711U, "rear");
    }
}

// `updateSeconds` is long enough that no check falls into the run.
Outcome Measure(const Settings& settings, unsigned int updateSeconds, const Work& peer) {
    const auto debug = StartTrace({.UpdateSeconds = updateSeconds});
    const Work ours = [&](std::size_t count) {
        PrintAboveLevel(*debug, count);
    };
    ours(1);  // the check that is due at once
    RequireNoSystemCall([&] { ours(1'000'000); }, "an entry above the level");
    return {ComparePairs(TimePerCall(ours), TimePerCall(peer), settings.Pairs())};
}

}  // namespace

Comparisons LevelComparisons() {
    constexpr unsigned int kNever = 0;
    constexpr unsigned int kHour = 3600;
    return {
        {"1", "level off", "Print above the level, update off", "variadic call, one atomic read",
         1.2, "ns",
         [](const Settings& s) {
             return Measure(s, kNever, CallBaseline<DropAbove>);
         }},
        {"1", "level spdlog", "the same", "spdlog dropping an entry", 0, "ns",
         [](const Settings& s) {
             return Measure(s, kNever, Spdlog(SpdlogSink::kDropped).Open());
         }},
        {"2", "level update", "Print above the level, update on", "the same and one time()", 1.2,
         "ns",
         [](const Settings& s) {
             return Measure(s, kHour, CallBaseline<DropAboveWithTime>);
         }},
    };
}

}  // namespace bench

// A ring that is written at full speed, and followers that keep up or do not.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "tests/support/files.h"
#include "tests/trace/debug_fixture.h"
#include "tests/trace_reader/numbered_entries.h"
#include "trace_reader/ring_follower.h"

namespace {

using trace_reader::CRingFollower;
using trace_reader::CTraceFileBytes;
using trace_reader::Entry;

class Follow : public CDebugTest {};

// Follows until `isOver`, and then to the newest entry.
Seen FollowUntil(const std::string& path, const std::atomic<bool>& isOver,
                 std::chrono::milliseconds pause) {
    CTraceFileBytes file;
    Seen seen;
    if (file.Open(path) != 0) {
        ++seen.Torn;
        return seen;
    }
    CRingFollower follower(file, CRingFollower::From::kOldest);
    seen.Round = file.Size() - trace_reader::FindRingBegin(file).value().Restart;
    for (int idle = 0; idle < 3;) {
        const bool wasOver = isOver;
        const auto result = follower.Look([&](const Entry& entry) { seen.Check(entry); });
        if (result == CRingFollower::Result::kLost) {
            seen.Tell(follower.LostBytes());
        }
        idle = wasOver && result == CRingFollower::Result::kNothing ? idle + 1 : 0;
        std::this_thread::sleep_for(wasOver ? std::chrono::milliseconds(1) : pause);
    }
    return seen;
}

void Report(const char* name, const Seen& seen, unsigned long written) {
    EXPECT_EQ(seen.Torn, 0U) << name;
    EXPECT_EQ(seen.UntoldLosses, 0U) << name;
    EXPECT_EQ(seen.WrongLosses, 0U) << name;
    EXPECT_EQ(seen.Entries + seen.Missed, written) << name;  // up to the newest one
    EXPECT_EQ(seen.Last, written) << name;
    EXPECT_EQ(seen.Missed != 0, seen.Overtaken != 0) << name;
    std::printf("%s: %lu entries written, %lu read, %lu missed, overtaken %lu times, told %lu KB\n",
                name, written, seen.Entries, seen.Missed, seen.Overtaken, seen.ToldBytes / 1024);
}

// MORLA_FOLLOW_SECONDS lets it run longer by hand.
TEST_F(Follow, ShowsNoTornEntryAndTellsOfEveryLoss) {
    const char* const wish = std::getenv("MORLA_FOLLOW_SECONDS");
    const auto seconds = std::chrono::seconds(wish != nullptr ? std::atoi(wish) : 3);
    CDebug& debug = StartActiveRing();
    std::atomic<bool> isOver = false;
    Seen fast;
    Seen slow;
    std::thread fastReader([&] { fast = FollowUntil(kActiveRing, isOver, {}); });
    std::thread slowReader(
        [&] { slow = FollowUntil(kActiveRing, isOver, std::chrono::milliseconds(100)); });
    unsigned long written = 0;
    const auto end = std::chrono::steady_clock::now() + seconds;
    while (std::chrono::steady_clock::now() < end) {
        for (int i = 0; i < 1000; ++i) {
            debug.Print(1, "%s", NumberedText(++written).c_str());
        }
    }
    isOver = true;
    fastReader.join();
    slowReader.join();
    Report("fast reader", fast, written);
    Report("slow reader", slow, written);
    EXPECT_NE(slow.Overtaken, 0U);  // or the test shows nothing
}

}  // namespace

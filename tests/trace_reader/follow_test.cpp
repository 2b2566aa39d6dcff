// A ring that is written at full speed, and followers that keep up or do not.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <map>
#include <string>
#include <thread>

#include "tests/support/files.h"
#include "tests/trace/debug_fixture.h"
#include "trace_reader/ring_follower.h"

namespace {

using trace_reader::CRingFollower;
using trace_reader::CTraceFileBytes;
using trace_reader::Entry;

class Follow : public CDebugTest {};

std::size_t FillLength(unsigned long number) {
    return number % 997 == 0 ? 5000 : number * 37 % 300;
}

// The text of the entry of that number: of every length, now and then of several lines, and longer
// than what is composed in place.
std::string NumberedText(unsigned long number) {
    std::string text = "number=" + std::to_string(number) + " ";
    const std::size_t length = FillLength(number);
    for (std::size_t i = 0; i < length; ++i) {
        text +=
            number % 50 == 0 && i % 64 == 63 ? '\n' : static_cast<char>('a' + (number + i) % 26);
    }
    return text + "=" + std::to_string(number);
}

// Bytes of the entries from one number up to before another.
unsigned long BytesBetween(unsigned long from, unsigned long to) {
    unsigned long bytes = 0;
    for (; from < to; ++from) {
        bytes += 49 + 9 + 1 + 2 * std::to_string(from).size() + FillLength(from);
    }
    return bytes;
}

// What a follower saw of numbered entries.
struct Seen {
    unsigned long Entries = 0;
    unsigned long Torn = 0;
    unsigned long Missed = 0;     // numbers that were left out
    unsigned long ToldBytes = 0;  // what the follower said is lost
    unsigned long Overtaken = 0;
    unsigned long UntoldLosses = 0;  // numbers that were left out without a word
    unsigned long WrongLosses = 0;   // what was told is not what was left out, up to whole rounds
    unsigned long Last = 0;
    unsigned long Round = 0;  // bytes from the restart position to the ring's end
};

// Told are offsets: a round is as long as the ring but for the header at its start, and some of its
// bytes are dots at its end.
bool IsRightLoss(unsigned long told, unsigned long missed, unsigned long round) {
    constexpr unsigned long kDotsMax = 5200;
    const unsigned long rounds = missed > told ? (missed - told + round / 2) / round : 0;
    const unsigned long expected = told + rounds * round;
    return expected + kDotsMax > missed && missed + (rounds + 1) * kDotsMax > expected;
}

// Says what the first one is, for such a thing may not come again for days.
void AddTorn(const Entry& entry, unsigned long told, Seen& seen) {
    if (seen.Torn++ == 0) {
        std::printf("behind number %lu, told %lu bytes lost, at offset %llu: %s\n", seen.Last, told,
                    static_cast<unsigned long long>(entry.Offset),
                    std::string(entry.Bytes.substr(0, 200)).c_str());
    }
}

void Check(const Entry& entry, unsigned long& told, Seen& seen) {
    const std::string text(entry.Text());
    if (text.rfind("number=", 0) != 0) {
        if (text.rfind("### ", 0) != 0) {
            AddTorn(entry, told, seen);
        }
        return;
    }
    const unsigned long number = std::strtoul(text.c_str() + 7, nullptr, 10);
    if (text != NumberedText(number) || number <= seen.Last) {
        AddTorn(entry, told, seen);
        return;
    }
    ++seen.Entries;
    seen.Missed += number - seen.Last - 1;
    const unsigned long missed = BytesBetween(seen.Last + 1, number);
    seen.UntoldLosses += missed != 0 && told == 0 ? 1U : 0U;
    // How many rounds were missed is known to within the dots of each: of a few only.
    seen.WrongLosses +=
        told != 0 && missed < 20 * seen.Round && !IsRightLoss(told, missed, seen.Round) ? 1U : 0U;
    told = 0;
    seen.Last = number;
}

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
    unsigned long told = 0;
    for (int idle = 0; idle < 3;) {
        const bool wasOver = isOver;
        const auto result = follower.Look([&](const Entry& entry) { Check(entry, told, seen); });
        if (result == CRingFollower::Result::kLost) {
            told += follower.LostBytes();
            ++seen.Overtaken;
            seen.ToldBytes += follower.LostBytes();
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

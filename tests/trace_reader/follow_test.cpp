// A ring that is written at full speed, and followers that keep up or do not.
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "tests/support/files.h"
#include "tests/trace/debug_fixture.h"
#include "tests/trace_reader/numbered_entries.h"
#include "trace/entry_format.h"
#include "trace_reader/log_follower.h"
#include "trace_reader/ring_follower.h"

namespace {

using trace_reader::CLogFollower;
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
std::chrono::seconds WantedSeconds(int usual) {
    const char* const wish = std::getenv("MORLA_FOLLOW_SECONDS");
    return std::chrono::seconds(wish != nullptr ? std::atoi(wish) : usual);
}

TEST_F(Follow, ShowsNoTornEntryAndTellsOfEveryLoss) {
    CDebug& debug = StartActiveRing();
    std::atomic<bool> isOver = false;
    Seen fast;
    Seen slow;
    std::thread fastReader([&] { fast = FollowUntil(kActiveRing, isOver, {}); });
    std::thread slowReader(
        [&] { slow = FollowUntil(kActiveRing, isOver, std::chrono::milliseconds(100)); });
    unsigned long written = 0;
    const auto end = std::chrono::steady_clock::now() + WantedSeconds(3);
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

// A log file's follower tells of a loss behind the entries that follow it.
void FollowLogUntil(const std::string& path, const std::atomic<bool>& isOver,
                    std::chrono::milliseconds pause, Seen& seen) {
    CTraceFileBytes file;
    ASSERT_EQ(file.Open(path), 0);
    CLogFollower follower(file);
    seen.TextMax = trace::kMessageSize;
    const auto now = [] {
        return std::chrono::steady_clock::now();
    };
    auto last = now();  // entry that came; one may be held back for a second
    for (bool wasOver = false; !wasOver || now() - last < std::chrono::milliseconds(1500);) {
        wasOver = isOver;
        std::vector<std::string> entries;
        const auto result =
            follower.Look([&](const Entry& entry) { entries.emplace_back(entry.Bytes); });
        if (result == CLogFollower::Result::kLost) {
            seen.Tell(0);
        }
        for (const std::string& bytes : entries) {
            const auto header = trace_reader::ParseEntryHeader(bytes);
            ASSERT_TRUE(header);
            seen.Check({.Bytes = bytes, .Header = *header});
            last = now();
        }
        std::this_thread::sleep_for(pause);
    }
}

// At such a pace that a round of the file takes some milliseconds: times are all that tells where
// its newest entry is.
TEST_F(Follow, ShowsNoTornEntryOfALogFileThatWraps) {
    ConfigureRing(1);
    SetVariable("HX_LOG_FILE_MAX_SIZE", "100000");
    CDebug& debug = Start();
    debug.SetApplInitDone();
    std::atomic<bool> isOver = false;
    Seen fast;
    Seen slow;
    std::thread fastReader([&] { FollowLogUntil(kLogFile, isOver, {}, fast); });
    std::thread slowReader(
        [&] { FollowLogUntil(kLogFile, isOver, std::chrono::milliseconds(150), slow); });
    unsigned long written = 0;
    const auto end = std::chrono::steady_clock::now() + WantedSeconds(2);
    while (std::chrono::steady_clock::now() < end) {
        debug.PrintAlways("%s", NumberedText(++written).c_str());
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    isOver = true;
    fastReader.join();
    slowReader.join();
    Report("fast reader of the log", fast, written);
    Report("slow reader of the log", slow, written);
    EXPECT_NE(slow.Overtaken, 0U);
    EXPECT_LE(fast.Cut, 3U);  // where the file's limit is in an entry of several lines
    EXPECT_LE(slow.Cut, 3U + slow.Overtaken);
}

// A writer that was interrupted between two pages.
TEST_F(Follow, HoldsBackALogEntryWhoseLaterPageIsMissing) {
    ConfigureRing(1);
    SetVariable("HX_LOG_FILE_MAX_SIZE", "20000");
    CDebug& debug = Start();
    debug.SetApplInitDone();
    constexpr unsigned long kEntries = 201;
    for (unsigned long number = 1; number <= kEntries; ++number) {
        debug.PrintAlways("%s", NumberedText(number).c_str());
        std::this_thread::sleep_for(std::chrono::milliseconds(1));  // another time
    }
    CTraceFileBytes file;
    ASSERT_EQ(file.Open(kLogFile), 0);
    CLogFollower follower(file);
    std::string newest;
    const auto look = [&] {
        newest.clear();
        (void)follower.Look([&](const Entry& entry) { newest = entry.Bytes; });
        return newest;
    };
    look();
    look();
    const std::string log = ReadFile(kLogFile);
    const std::size_t end = log.find("=201\n") + 5;
    const std::size_t begin = log.rfind('\n', end - 2) + 1;
    const std::size_t toPage = 4096 - end % 4096;
    const std::string entry = log.substr(begin, 49) + std::string(toPage, 'x') + "=202\n";
    const int writer = open(kLogFile, O_WRONLY | O_CLOEXEC);
    const auto write = [&](std::size_t from, std::size_t to) {
        const auto place = static_cast<off_t>(end + from);
        const auto length = static_cast<ssize_t>(to - from);
        EXPECT_EQ(pwrite(writer, entry.data() + from, to - from, place), length);
    };
    write(0, toPage);
    EXPECT_EQ(look() + look(), "");
    write(toPage, entry.size());
    EXPECT_EQ(look(), entry);
    close(writer);
}

}  // namespace

// Readers of a ring whose writer may go on between any two bytes that they read.
#include "tests/trace_reader/ring_model.h"

#include <cstdlib>

#include <gtest/gtest.h>

#include "tests/trace_reader/numbered_entries.h"
#include "trace_reader/ring_follower.h"
#include "trace_reader/trace_file.h"

namespace {

using trace_reader::CRingFollower;
using trace_reader::Entry;

constexpr std::size_t kRing = std::size_t{64} << 10U;

void Look(CRingFollower& follower, Seen& seen, int& idle) {
    const auto result = follower.Look([&](const Entry& entry) { seen.Check(entry); });
    if (result == CRingFollower::Result::kLost) {
        seen.Tell(follower.LostBytes());
    }
    ASSERT_NE(result, CRingFollower::Result::kOtherRing);
    idle = result == CRingFollower::Result::kNothing ? idle + 1 : 0;
}

void Follow(std::uint64_t seed, Seen& seen) {
    CRingModel ring(seed, kRing);
    ring.Write(seed % 3 == 0 ? 0 : seed % 1000);
    CRingFollower follower(ring, CRingFollower::From::kOldest);
    seen.Round = kRing - ring.Restart();
    int idle = 0;
    for (int looks = 0; looks < 60; ++looks) {
        Look(follower, seen, idle);
    }
    ring.Stop();
    for (idle = 0; idle < 3;) {
        Look(follower, seen, idle);
    }
    EXPECT_EQ(seen.Torn, 0U);
    EXPECT_EQ(seen.UntoldLosses, 0U);
    EXPECT_EQ(seen.WrongLosses, 0U);
    EXPECT_EQ(seen.Last, ring.Written());
}

// MORLA_MODEL_SEEDS ("FIRST COUNT") lets it try others by hand.
TEST(RingModel, AFollowerShowsNoTornEntryAndTellsOfEveryLoss) {
    const char* const wish = std::getenv("MORLA_MODEL_SEEDS");
    std::uint64_t first = 12;
    std::uint64_t count = 6;
    if (wish != nullptr) {
        char* end = nullptr;
        first = std::strtoull(wish, &end, 10);
        count = std::strtoull(end, nullptr, 10);
    }
    unsigned long entries = 0;
    unsigned long losses = 0;
    for (std::uint64_t seed = first; seed < first + count; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Seen seen;
        Follow(seed, seen);
        entries += seen.Entries;
        losses += seen.Overtaken;
        if (HasFailure()) {
            break;
        }
    }
    std::printf("%lu entries read, overtaken %lu times\n", entries, losses);
    EXPECT_NE(losses, 0U);  // or the test shows nothing
}

// What is shown once is as old as its file's layout; what the writer has reached since is left out.
TEST(RingModel, AReaderOfAllThatIsThereShowsWholeEntriesInTheirOrder) {
    constexpr unsigned long kRoundEntries = 200;  // a little less
    unsigned long entries = 0;
    unsigned long cut = 0;
    for (std::uint64_t seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const auto ring = std::make_shared<CRingModel>(seed, kRing);
        ring->Write(seed * 17);
        const trace_reader::TraceFile file = trace_reader::LayOut(ring);
        trace_reader::CEntryReader reader = file.Entries();
        Seen seen;
        while (const Entry* const entry = reader.Next()) {
            seen.Check(*entry);
        }
        if (ring->Written() - seed * 17 < kRoundEntries) {
            EXPECT_EQ(seen.Torn, 0U);
            EXPECT_TRUE(seen.UntoldLosses == 0 || reader.LostBytes() != 0);
            entries += seen.Entries;
            cut += reader.LostBytes() != 0 ? 1U : 0U;
        }
    }
    EXPECT_NE(entries, 0U);
    EXPECT_NE(cut, 0U);
}

}  // namespace

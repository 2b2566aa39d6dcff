#include "trace/entry_format.h"

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "trace/debug.h"
#include "trace/shell_word.h"

namespace {

std::string Header(std::string_view source, bool hasMemory, std::size_t kilobytes,
                   std::size_t size = trace::kHeaderSize) {
    std::string text(size + 1, '#');
    const std::size_t length = trace::FormatEntryHeader(text.data(), size,
                                                        {.Time = "2024-03-07 14:05:09.042",
                                                         .ThreadId = 0x00F5A7C0,
                                                         .Source = source,
                                                         .HasMemory = hasMemory,
                                                         .ResidentKilobytes = kilobytes});
    EXPECT_EQ(text[length], '#') << "written past the length returned";
    return text.substr(0, length);
}

TEST(EntryHeader, HoldsTimeThreadMemoryAndPaddedName) {
    const std::string begin = "2024-03-07 14:05:09.042 [00F5A7C0] ";
    EXPECT_EQ(Header("zentd", false, 0), begin + "zentd         ");
    EXPECT_EQ(Header("more_than_thirteen", false, 0), begin + "more_than_thirteen ");
    EXPECT_EQ(Header("zentd", true, 4312), begin + "    4312 KB !zentd         ");
    EXPECT_EQ(Header("zentd", true, 1234567890), begin + "1234567890 KB !zentd         ");
    const std::string whole = Header(std::string(200, 'n'), true, 1);
    EXPECT_EQ(whole.size(), trace::kHeaderSize);
    for (const std::size_t size : {0U, 1U, 23U, 30U, 60U}) {
        EXPECT_EQ(Header(std::string(200, 'n'), true, 1, size), whole.substr(0, size));
    }
}

// A zone written out as a rule, so that the test needs no zone files.
TEST(EntryClock, FollowsDaylightSavingAndClockSteps) {
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    tzset();
    trace::CEntryClock clock;
    const struct {
        timespec Now;
        const char* Text;
    } rows[] = {
        {{1711846799, 999'999'999}, "2024-03-31 01:59:59.999"},
        {{1711846800, 0}, "2024-03-31 03:00:00.000"},           // an hour is left out
        {{1711846799, 42'000'000}, "2024-03-31 01:59:59.042"},  // set back by a second
        {{1729990799, 0}, "2024-10-27 02:59:59.000"},
        {{1729990800, 0}, "2024-10-27 02:00:00.000"},  // an hour comes twice
        {{2147483648, 7'000'000}, "2038-01-19 04:14:08.007"},
        {{INT64_MAX, 0}, "yyyy-mm-dd hh:mm:ss.mmm"},  // there is no such date
        {{0, 0}, "1970-01-01 01:00:00.000"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(clock.Format(row.Now), row.Text);
    }
    unsetenv("TZ");
    tzset();
}

TEST(ResidentMemory, IsReadFromItsLineOnly) {
    using trace::ParseResidentKilobytes;
    EXPECT_EQ(ParseResidentKilobytes("Name:\tVmRSS: 9\nVmRSS:\t    4312 kB\nX:\t1\n"), 4312U);
    EXPECT_EQ(ParseResidentKilobytes("Name:\tx\nVmSize:\t1 kB\n"), 0U);
    EXPECT_EQ(ParseResidentKilobytes("VmRSS:"), 0U);
}

TEST(RingGeometry, ComputesSizeAndFirstEntry) {
    EXPECT_EQ(trace::RingSize(4096, 2, 8192), 17'179'869'184U);
    EXPECT_EQ(trace::FirstEntryPosition(4096), 6144U);  // also when already on a boundary
    EXPECT_EQ(trace::FirstEntryPosition(5119), 6144U);
    EXPECT_EQ(trace::FirstEntryPosition(5120), 7168U);
}

TEST(AppVarName, StopsAtTheEndOfItsBuffer) {
    char name[48] = "HX_LOG_RINGBUF_WEIGHT";
    CDebug::BuildAppVarName(name, sizeof name, "zentd");
    CDebug::BuildAppVarName(name, sizeof name, std::string(100, 'x').c_str());
    CDebug::BuildAppVarName(name, sizeof name, nullptr);
    EXPECT_EQ(std::string(name), "HX_LOG_RINGBUF_WEIGHT_ZENTD_" + std::string(19, 'X'));
    char full[4] = {'a', 'b', 'c', 'd'};  // not terminated within its size
    CDebug::BuildAppVarName(full, sizeof full, "x");
    EXPECT_EQ(std::string(full, 4), "abcd");
}

TEST(ShellWord, QuotesOnlyWhatNeedsIt) {
    EXPECT_EQ(trace::ShellWord("/var/log/quorvat/log.zentd_i"), "/var/log/quorvat/log.zentd_i");
    EXPECT_EQ(trace::ShellWord("/tmp/a b;$(reboot)"), "'/tmp/a b;$(reboot)'");
    EXPECT_EQ(trace::ShellWord("it's"), R"('it'\''s')");
    EXPECT_EQ(trace::ShellWord(""), "''");
}

}  // namespace

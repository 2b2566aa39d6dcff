#include "trace/entry_format.h"

#include <array>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "trace/debug.h"
#include "trace/entry_formatter.h"
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

TEST(LastHeader, IsRepeatedForItsThreadWithinItsSecondOnly) {
    trace::CLastHeader last;
    const auto write = [&last](std::string_view time) {
        return std::string(last.Write({100, 42'000'000}, {.Time = time,
                                                          .ThreadId = 7,
                                                          .Source = "zentd",
                                                          .HasMemory = false,
                                                          .ResidentKilobytes = 0}));
    };
    EXPECT_EQ(last.Repeat({0, 0}, 0), "");
    const std::string text = write("2024-03-07 14:05:09.042");
    EXPECT_EQ(last.Repeat({100, 999'999'999}, 7),
              "2024-03-07 14:05:09.999" + text.substr(text.find(' ', 20)));
    EXPECT_EQ(last.Repeat({101, 0}, 7), "");
    EXPECT_EQ(last.Repeat({100, 0}, 8), "");
    EXPECT_EQ(last.Repeat({100, 42'000'000}, 7), text);
    last.Forget();
    EXPECT_EQ(last.Repeat({100, 0}, 7), "");
    write("yyyy-mm-dd hh:mm:ss.mmm");  // a time that cannot be told
    EXPECT_EQ(last.Repeat({100, 0}, 7), "");
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

// In buffers of every size up to the whole text.
__attribute__((format(printf, 1, 2))) void ExpectAsVsnprintf(const char* format, ...) {
    std::array<char, 128> expected{};
    std::array<char, 128> found{};
    int length = 0;
    for (std::size_t size = 1; size <= static_cast<std::size_t>(length) + 2; ++size) {
        expected.fill('#');
        found.fill('#');
        va_list args;
        va_start(args, format);
        length = std::vsnprintf(expected.data(), size, format, args);
        va_end(args);
        va_start(args, format);
        EXPECT_EQ(trace::FormatMessage(found.data(), size, format, args), length) << format;
        va_end(args);
        EXPECT_EQ(std::string(found.data()), std::string(expected.data())) << format << size;
        EXPECT_EQ(found[size], '#') << format << " in " << size;
    }
}

// fuzz/entry_formatter.cpp does the same with any format; this is one of each kind.
TEST(EntryFormatter, WritesWhatVsnprintfWrites) {
    ExpectAsVsnprintf("plain text of more than sixteen letters");
    ExpectAsVsnprintf("%s|%s|%s|%s", "", "abc", "abcdefg", "abcdefghijklmno");
    ExpectAsVsnprintf("%u %u %u %d %d %d", 0U, 1234567890U, UINT_MAX, -7, INT_MIN, 99);
    ExpectAsVsnprintf("%x %X %lx %llX %zu %lu %ld %i", 0U, 0xABCDEFU, ULONG_MAX, 0xF0F0FULL,
                      sizeof(int), 10UL, LONG_MIN, 100);
    ExpectAsVsnprintf("[%5d][%-5d][%05d][%2d][%03d]", -42, -42, -42, 12345, 7);
    ExpectAsVsnprintf("[%8x][%-8X][%08lx][%20u]", 0xAU, 0xBU, 0xCUL, 5U);
    ExpectAsVsnprintf("[%10s][%-10s][%.3s][%-6.2s][%.0s][%2s]", "right", "left", "cut it", "both",
                      "none", "long");
    ExpectAsVsnprintf("%c[%3c][%-3c] 100%% %p", 'a', 'b', 'c', reinterpret_cast<void*>(0x1234ABCD));
    ExpectAsVsnprintf("%ls %5ls %lc", L"wide", L"as", wint_t{L'W'});
    ExpectAsVsnprintf("before %+d % d %#x %.3d %o %g", 1, 2, 3U, 4, 5U, 0.5);
    const char* volatile null = nullptr;  // which the compiler would warn of
    ExpectAsVsnprintf("null %s", null);
    ExpectAsVsnprintf("%5s null %p", null, static_cast<void*>(nullptr));
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

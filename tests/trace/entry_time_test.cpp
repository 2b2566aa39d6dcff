// The times of entries under every clock and zone, against a calendar of the test's own, and what a
// reader makes of clocks that were set.
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <set>

#include <gtest/gtest.h>

#include "tests/support/files.h"
#include "tests/trace/debug_fixture.h"
#include "trace_reader/merge.h"
#include "trace_reader/trace_file.h"

namespace {

timespec fakeNow{};

}  // namespace

// Stand in for the clock that the trace looks at.
extern "C" int __wrap_clock_gettime(clockid_t clock, timespec* now);
extern "C" time_t __wrap_time(time_t* result);

extern "C" int __wrap_clock_gettime(clockid_t /*clock*/, timespec* now) {
    *now = fakeNow;
    return 0;
}
extern "C" time_t __wrap_time(time_t* /*result*/) {
    return fakeNow.tv_sec;
}

namespace {

constexpr std::int64_t kHour = 3600;
constexpr std::int64_t kSpring = 1774746000;  // 2026-03-29 01:00:00 UTC
constexpr std::int64_t kAutumn = 1792890000;  // 2026-10-25 01:00:00 UTC
constexpr std::int64_t kYear10000 = 253402300800;

struct Moment {
    std::int64_t Second;  // since the epoch
    std::int64_t Offset;  // what the zone adds then, in seconds
    int Milliseconds = 0;
};

void SetClock(std::int64_t second, int milliseconds = 0) {
    fakeNow = {.tv_sec = second, .tv_nsec = milliseconds * 1'000'000L};
}

// By the calendar of the C++ library, which knows nothing of zones.
std::string ExpectedTime(const Moment& moment) {
    using namespace std::chrono;
    const sys_seconds local{seconds(moment.Second + moment.Offset)};
    const auto midnight = floor<days>(local);
    const year_month_day date(midnight);
    const hh_mm_ss<seconds> clock(local - midnight);
    char text[48];
    (void)std::snprintf(static_cast<char*>(text), sizeof text, "%d-%02u-%02u %02d:%02d:%02d.%03d",
                        static_cast<int>(date.year()), static_cast<unsigned int>(date.month()),
                        static_cast<unsigned int>(date.day()),
                        static_cast<int>(clock.hours().count()),
                        static_cast<int>(clock.minutes().count()),
                        static_cast<int>(clock.seconds().count()), moment.Milliseconds);
    return static_cast<const char*>(text);
}

// A zone file of one zone: five and a half hours east.
void WriteZoneFile(const std::string& path) {
    std::string file = "TZif";
    file.append(16, '\0');
    for (const char count :
         {'\0', '\0', '\0', '\0', '\1', '\4'}) {  // one type, four letters of its name
        file.append(3, '\0').append(1, count);
    }
    WriteFile(path, file + std::string("\0\0\x4D\x58\0\0IST\0", 10));
}

class EntryTime : public CDebugTest {
protected:
    void SetUp() override {
        CDebugTest::SetUp();
        SetClock(1'700'000'000);
    }
    void TearDown() override {
        CDebugTest::TearDown();
        UseZone(nullptr);
    }
    static void UseZone(const char* zone) {
        if (zone != nullptr) {
            setenv("TZ", zone, 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }
    static void PrintFrom(CDebug& debug, const char* source, const char* format, ...) {
        va_list args;
        va_start(args, format);
        debug.ClientPrintV(format, args, source);
        va_end(args);
    }
    // Writes a moment's entries: one whose header may repeat that of the one before, one for the
    // log, too, and one of another source.
    static void Write(CDebug& debug, const Moment& moment, std::size_t number) {
        SetClock(moment.Second, moment.Milliseconds);
        debug.Print(1, "plain %zu;", number);
        debug.PrintAlways("always %zu;", number);
        PrintFrom(debug, "other", "source %zu;", number);
    }
    // The time of the entry with that text.
    static std::string TimeOf(const std::string& file, const std::string& text) {
        const std::size_t at = file.find(" " + text + ";\n");
        if (at == std::string::npos) {
            return "no entry";
        }
        const std::size_t line = file.rfind('\n', at) + 1;
        return file.substr(line, file.find(" [", line) - line);
    }
    void ExpectTimes(const char* zone, const std::vector<Moment>& moments) {
        UseZone(zone);
        CDebug& debug = StartActiveRing();
        for (std::size_t i = 0; i < moments.size(); ++i) {
            Write(debug, moments[i], i);
        }
        const std::string ring = ReadFile(kActiveRing);
        const std::string log = ReadFile(kLogFile);
        for (std::size_t i = 0; i < moments.size(); ++i) {
            const std::string expected = ExpectedTime(moments[i]);
            const std::string number = " " + std::to_string(i);
            EXPECT_EQ(TimeOf(ring, "plain" + number), expected);
            EXPECT_EQ(TimeOf(ring, "always" + number), expected);
            EXPECT_EQ(TimeOf(log, "always" + number), expected);
            EXPECT_EQ(TimeOf(ring, "source" + number), expected);
        }
        Stop();
    }
};

TEST_F(EntryTime, IsTheLocalTimeWhateverTheClockDoes) {
    ExpectTimes("CET-1CEST,M3.5.0,M10.5.0/3", {{kSpring - 1, kHour, 999},
                                               {kSpring, 2 * kHour},
                                               {kSpring - 1, kHour, 998},
                                               {kAutumn - 1, 2 * kHour, 999},
                                               {kAutumn, kHour, 500},
                                               {kAutumn, kHour, 200},
                                               {kAutumn - 86400 * 365L, 2 * kHour, 7},
                                               {INT32_MAX, kHour},
                                               {INT64_C(1) + INT32_MAX, kHour, 1},
                                               {UINT32_MAX, kHour, 2},
                                               {INT64_C(1) + UINT32_MAX, kHour, 3},
                                               {kYear10000 - kHour - 1, kHour, 999},
                                               {kYear10000 - kHour, kHour},
                                               {kYear10000 - kHour, kHour, 1},
                                               {kSpring - 1, kHour, 999},
                                               {0, kHour}});
}

TEST_F(EntryTime, IsThatOfTheZoneAndUniversalTimeWithoutOne) {
    const std::string folder = "/etc/zones";
    MakeDirectories(folder);
    WriteZoneFile(folder + "/east");
    WriteFile(folder + "/text", "no zone\n");
    WriteFile(folder + "/cut", "TZif2");
    const std::string long_(20'000, 'x');
    const struct {
        const char* Zone;
        std::int64_t Offset;
    } rows[] = {
        {nullptr, 0},
        {"", 0},
        {"Nowhere/At_All", 0},
        {":/etc/zones/absent", 0},
        {"/etc/zones/text", 0},
        {":/etc/zones/cut", 0},
        {"/etc/zones", 0},
        {"<<>>,,M99.99.99", 0},
        {long_.c_str(), 0},
        {":/etc/zones/east", 19800},
        {"/etc/zones/east", 19800},
        {"XYZ-14", 14 * kHour},
        {"<-12>12:34:56", -45296},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.Zone != nullptr ? std::string(row.Zone).substr(0, 40) : "unset");
        ExpectTimes(row.Zone, {{kSpring, row.Offset, 42}, {kAutumn, row.Offset}});
    }
}

// What `morlactl trace show` hands over: the entries' numbers, in its order.
std::vector<int> Merged(const std::vector<std::string>& paths, bool* isInOrder) {
    trace_reader::CMerge merge;
    std::vector<trace_reader::TraceFile> files(paths.size());
    for (std::size_t i = 0; i < paths.size(); ++i) {
        EXPECT_EQ(trace_reader::OpenTraceFile(paths[i], files[i]), 0);
        merge.Add(files[i].Entries(), files[i].IsRing);
    }
    std::vector<int> numbers;
    int last = -1;
    for (auto item = merge.Next(); item.Record != nullptr; item = merge.Next()) {
        const std::string text(item.Record->Text());
        if (text.starts_with("moment ")) {
            numbers.push_back(std::atoi(text.c_str() + 7));
            const bool isOfRing = files[item.Source].IsRing;
            *isInOrder = *isInOrder && (!isOfRing || last < numbers.back());
            last = isOfRing ? numbers.back() : last;
        }
    }
    return numbers;
}

// The numbers of the whole entries of a file, found without a reader.
void AddNumbers(const std::string& file, std::set<int>& numbers) {
    for (std::size_t at = file.find(" moment "); at != std::string::npos;
         at = file.find(" moment ", at + 1)) {
        const std::size_t end = file.find('\n', at);
        const std::size_t line = file.rfind('\n', at) + 1;
        // Else a part that was overwritten.
        if (file.compare(end - 4, 4, " end") == 0 && file.compare(line, 5, "2026-") == 0) {
            numbers.insert(std::atoi(file.c_str() + at + 8));
        }
    }
}

// The clock is set back by an hour after a third, and forth by two after two thirds.
TEST_F(EntryTime, ThatWentBackLosesNoEntryForTheReader) {
    for (const int count : {30, 900, 1100, 1300, 1900, 2100, 2500}) {
        SCOPED_TRACE(count);
        SetClock(kSpring - 1);
        CDebug& debug = StartActiveRing();
        for (int i = 0; i < count; ++i) {
            const std::int64_t set = i < count / 3 ? 0 : i < count * 2 / 3 ? -kHour : kHour;
            SetClock(kSpring + set + i / 10, i % 10 * 100);
            if (i % 25 == 0) {
                debug.PrintAlways("moment %05d %0900d end", i, 0);
            } else {
                debug.Print(1, "moment %05d %0900d end", i, 0);
            }
        }
        Stop();
        std::set<int> expected;
        AddNumbers(ReadFile(kActiveRing), expected);
        AddNumbers(ReadFile(kLogFile), expected);
        bool isInOrder = true;
        const std::vector<int> numbers = Merged({kActiveRing, kLogFile}, &isInOrder);
        EXPECT_EQ(std::set<int>(numbers.begin(), numbers.end()), expected);
        // The log's copy of an entry is not always recognised then.
        EXPECT_LE(numbers.size(), expected.size() + static_cast<std::size_t>(count) / 25 + 1);
        EXPECT_TRUE(isInOrder) << "the ring's own order is lost";
    }
}

}  // namespace

// Counters and positions of the trace where 31 and 32 bits end.
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/trace/debug_fixture.h"
#include "trace_reader/log_layout.h"
#include "trace_reader/trace_file.h"

namespace {

using CounterEdges = CDebugTest;

// The descriptor of a file that the trace has open; -1 when there is none.
int DescriptorOf(const char* path) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        if (std::filesystem::read_symlink(entry.path(), error) == path) {
            return std::atoi(entry.path().filename().c_str());
        }
    }
    return -1;
}

// The start-up part of the log seems to be nearly as long as the largest limit; what is in front of
// its end is a hole.
TEST_F(CounterEdges, LogFileWithTheLargestLimitWraps) {
    constexpr off_t kInitEnd = 4'294'963'200;  // a page before 32 bits end
    Configure("[zentd]\nMemoryTracesFlag=0\n");
    SetVariable("HX_LOG_FILE_MAX_SIZE", "1");
    CDebug& debug = Start();
    const int log = DescriptorOf(kLogFile);
    ASSERT_EQ(lseek(log, kInitEnd, SEEK_SET), kInitEnd);
    debug.SetApplInitDone();
    debug.PrintAlways("wraps, so that the count goes on from that end");
    SetVariable("HX_LOG_FILE_MAX_SIZE", "4294967295");
    debug.ReadDebugConfig("zentd");
    for (int i = 0; i < 4; ++i) {
        debug.PrintAlways("%01024d", i);
    }
    debug.PrintAlways("behind the wrap");
    std::string text(300, '\0');
    ASSERT_EQ(pread(log, text.data(), text.size(), kInitEnd), 300);
    EXPECT_TRUE(
        text.starts_with("------ WRAP ----- Cycle=2, CntInitEnd=4294963200, "
                         "CurrentByteCnt=4294963200 (MaxCnt=4294967295)\n"))
        << text;
    EXPECT_NE(text.find(" behind the wrap\n"), std::string::npos) << text;
}

// A log that comes to its limit during the start wraps to its beginning, and later to where the
// start ended: of two lines that tell their own place the later one counts.
TEST_F(CounterEdges, LogThatWrappedDuringTheStartIsReadInOrder) {
    Configure("[zentd]\nMemoryTracesFlag=0\n");
    SetVariable("HX_LOG_FILE_MAX_SIZE", "5000");
    CDebug& debug = Start();
    for (int i = 0; i < 60; ++i) {
        if (i == 25) {
            debug.SetApplInitDone();
        }
        debug.PrintAlways("%0200d", i);
        timespec tick{.tv_sec = 0, .tv_nsec = 1'100'000};
        (void)nanosleep(&tick, nullptr);
    }
    trace_reader::TraceFile file;
    ASSERT_EQ(trace_reader::OpenTraceFile(kLogFile, file), 0);
    trace_reader::CEntryReader entries = file.Entries();
    std::vector<int> numbers;
    while (const auto* const entry = entries.Next()) {
        numbers.push_back(std::atoi(std::string(entry->Text()).c_str()));
    }
    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
    EXPECT_EQ(numbers.back(), 59);
}

TEST_F(CounterEdges, WrapLineIsReadWhateverItsNumbers) {
    const auto line = trace_reader::ParseWrapLine(
        "------ WRAP ----- Cycle=-2147483648, CntInitEnd=4294967295, CurrentByteCnt=4294967295 "
        "(MaxCnt=4294967295)\n");
    ASSERT_TRUE(line);
    EXPECT_EQ(line->Cycle, 0x80000000U);
    EXPECT_EQ(line->InitEnd, 0xFFFFFFFFU);
}

// A ring that is never in memory: a line of 1 KiB each 10 ms, of which the last ones are from the
// round before.
class CLongRing : public trace_reader::CTraceBytes {
public:
    static constexpr std::uint64_t kLine = 1024;
    static constexpr std::uint64_t kNewest = (std::uint64_t{4} << 20U) + 100;  // behind 4 GiB
    static constexpr std::uint64_t kLines = kNewest + 10'000;

    [[nodiscard]] std::uint64_t Size() const override { return kLines * kLine; }
    using CTraceBytes::Read;
    [[nodiscard]] std::size_t Read(std::uint64_t offset, char* buffer,
                                   std::size_t length) const override {
        std::size_t done = 0;
        while (done < length && offset + done < Size()) {
            const std::string line = Line((offset + done) / kLine);
            done += line.copy(buffer + done, length - done, (offset + done) % kLine);
        }
        return done;
    }

private:
    static std::string Header(std::uint64_t number) {
        const std::uint64_t seconds = number / 100;
        char text[64];
        (void)std::snprintf(static_cast<char*>(text), sizeof text,
                            "2024-03-%02d %02d:%02d:%02d.%03d [00F5A7C0] zentd         ",
                            number > kNewest ? 6 : 7, static_cast<int>(seconds / 3600),
                            static_cast<int>(seconds / 60 % 60), static_cast<int>(seconds % 60),
                            static_cast<int>(number % 100 * 10));
        return static_cast<const char*>(text);
    }
    static std::string Line(std::uint64_t number) {
        std::string line = number == kNewest + 1 ? "## TRACE-END ##\n" : "";
        line += Header(number);
        line += number == 1 ? "### Begin of RingBuffer. ###\n" + Header(number) : "";
        line += "entry " + std::to_string(number);
        line.resize(kLine - 1, ' ');
        return line + "\n";
    }
};

TEST_F(CounterEdges, RingIsReadBehindFourGigabytes) {
    const auto file = trace_reader::LayOut(std::make_shared<CLongRing>());
    EXPECT_EQ(file.Ring.End, (CLongRing::kNewest + 1) * CLongRing::kLine);
    EXPECT_TRUE(file.Ring.IsWrapped);
    std::string newest;
    (void)trace_reader::FindPlaceBack(*file.Bytes, file.Regions, [&](const auto& entry) {
        newest = entry.Text().substr(0, entry.Text().find(' ', 6));
        return true;
    });
    EXPECT_EQ(newest, "entry " + std::to_string(CLongRing::kNewest));
    trace_reader::CEntryReader entries = file.Entries();
    (void)entries.Next();  // the begin entry, which each round leaves alone
    const auto* const oldest = entries.Next();
    ASSERT_NE(oldest, nullptr);
    EXPECT_EQ(oldest->Offset / CLongRing::kLine, CLongRing::kNewest + 1);
}

}  // namespace

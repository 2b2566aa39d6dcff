// Counters and positions of the trace where 31 and 32 bits end.
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/trace/debug_fixture.h"
#include "trace_reader/log_layout.h"
#include "trace_reader/trace_file.h"

namespace {

// What the log was given instead of a disk.
struct LogBytes {
    std::uint64_t Count = 0;
    std::string Wraps;
};
LogBytes* logBytes = nullptr;

}  // namespace

// The log file's writes, which take four gigabytes to come to the edge.
extern "C" long __wrap_syscall(long number, ...);
extern "C" long __real_syscall(long number, ...);
extern "C" long __wrap_syscall(long number, ...) {
    va_list args;
    va_start(args, number);
    const long file = va_arg(args, long);
    const char* const text = va_arg(args, const char*);
    const auto length = va_arg(args, std::size_t);
    va_end(args);
    if (number != SYS_write || logBytes == nullptr) {
        return __real_syscall(number, file, text, length);
    }
    if (std::string_view(text, length).starts_with("------ WRAP")) {
        logBytes->Wraps.append(text, length);
    } else {
        logBytes->Count += length;
    }
    return static_cast<long>(length);
}

namespace {

class CounterEdges : public CDebugTest {
protected:
    void TearDown() override {
        logBytes = nullptr;
        CDebugTest::TearDown();
    }
};

TEST_F(CounterEdges, LogFileWithTheLargestLimitWraps) {
    constexpr std::uint64_t kLimit = UINT32_MAX;
    constexpr std::uint64_t kLongestEntry = 1024 + 128 + 1;
    SetVariable("HX_LOG_FILE_MAX_SIZE", "4294967295");
    Configure("[zentd]\nMemoryTracesFlag=0\n");
    CDebug& debug = Start();
    debug.SetApplInitDone();
    LogBytes bytes;
    logBytes = &bytes;
    const std::string text(1024, 'x');
    while (bytes.Wraps.empty() && bytes.Count < 2 * kLimit) {
        debug.PrintAlways("%s", text.c_str());
    }
    EXPECT_GT(bytes.Count, kLimit);
    EXPECT_LE(bytes.Count, kLimit + kLongestEntry);
    EXPECT_EQ(bytes.Wraps,
              "------ WRAP ----- Cycle=1, CntInitEnd=0, CurrentByteCnt=0 (MaxCnt=4294967295)\n");
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

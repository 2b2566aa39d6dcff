#include <fcntl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <new>
#include <thread>

#include "tests/support/cancelled_thread.h"
#include "tests/support/files.h"
#include "tests/trace/debug_fixture.h"

namespace {

constexpr std::string_view kEndMarker = "## TRACE-END ##\n";

bool isMemoryGone = false;

class RingBuffer : public CDebugTest {};

}  // namespace

// The allocation that reports its failure as null. The linker gives these names.
extern "C" {
void* __real__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) noexcept;
void* __wrap__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) noexcept;
}
void* __wrap__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) noexcept {
    return isMemoryGone ? nullptr : __real__ZnamRKSt9nothrow_t(size, tag);
}

namespace {

TEST_F(RingBuffer, StartsWithHeaderGapAndFirstEntryOnAKilobyteBoundary) {
    StartActiveRing();
    const std::string ring = ReadFile(kActiveRing);
    ASSERT_EQ(ring.size(), kActiveRingSize);
    const std::size_t headerEnd = ring.find("# End of header.\n") + 17;
    const std::size_t begin = ring.rfind('\n', ring.find("### Begin of RingBuffer. ###\n")) + 1;
    EXPECT_EQ(begin, (headerEnd + 2048) / 1024 * 1024);
    EXPECT_EQ(ring.substr(begin - 2, 2), "_\n");
    EXPECT_LT(ring.find("No Header to LogFile       : 1\n"), headerEnd) << "nothing is set";
    const auto lines = Lines(ring.substr(begin));
    EXPECT_EQ(lines[1].substr(49), "### Start of initialization. ###");
    EXPECT_EQ(lines[2] + "\n", kEndMarker);
    for (std::size_t line = begin + 2 * 1024; line < ring.size(); line += 1024) {
        ASSERT_EQ(ring[line + 1023], '\n');
        ASSERT_EQ(ring.find_first_not_of('_', line + 49), line + 1023);
        ASSERT_EQ(ring.substr(line + 34, 8), " zentd  ");
    }
}

TEST_F(RingBuffer, StartUpRingIsFourTimesAsLargeAndKeptWhenGzipIsMissing) {
    ConfigureRing(3);
    CDebug& debug = Start();
    debug.Print(3, "while starting");
    EXPECT_EQ(NewestEntry(ReadFile(kInitRing)), "while starting");
    debug.SetApplInitDone();
    const std::string ring = ReadFile(kInitRing);
    EXPECT_EQ(ring.size(), 4 * kActiveRingSize);
    EXPECT_EQ(NewestEntry(ring), "### End of initialization. ###");
    debug.Print(3, "while running");
    EXPECT_EQ(NewestEntry(ReadFile(kActiveRing)), "while running");
}

TEST_F(RingBuffer, GoesOnWhenTheStartUpRingCannotBeCompressed) {
    ConfigureRing(3);
    CDebug& debug = Start();
    rlimit previous{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &previous), 0);
    // No descriptor is left but the start-up ring's own: enough for the next ring, not for a pipe.
    const int next = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(next);
    const rlimit few{.rlim_cur = static_cast<rlim_t>(next), .rlim_max = previous.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    debug.SetApplInitDone();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &previous), 0);
    EXPECT_EQ(Texts(kLogFile).back(),
              "### gziping of startup log file failed -> it doesn't matter ###");
    debug.Print(3, "while running");
    EXPECT_EQ(NewestEntry(ReadFile(kActiveRing)), "while running");
}

TEST_F(RingBuffer, CutsALongMessageThatThereIsNoMemoryFor) {
    CDebug& debug = StartActiveRing();
    isMemoryGone = true;
    debug.Print(1, "%s", std::string(1025, 'm').c_str());
    isMemoryGone = false;
    const std::string ring = ReadFile(kActiveRing);
    const std::string expected =
        std::string(1024, 'm') + "\n## ERROR: No memory: Output Truncated!\n";
    EXPECT_EQ(ring.substr(ring.rfind(kEndMarker) - expected.size(), expected.size()), expected);
}

TEST_F(RingBuffer, KeepsLongMessagesWholeUpToATenthOfItsSize) {
    CDebug& debug = StartActiveRing();
    for (const std::size_t length : {1024U, 1025U, 100'000U, 104'857U}) {
        const std::string text(length, 'w');
        debug.Print(1, "%s", text.c_str());
        EXPECT_EQ(NewestEntry(ReadFile(kActiveRing)), text);
    }
    debug.Print(1, "%s", std::string(104'858, 'c').c_str());
    const std::string ring = ReadFile(kActiveRing);
    EXPECT_EQ(ring.substr(ring.rfind(kEndMarker) - 1024 - 51, 1024 + 51),
              std::string(1024, 'c') + "\n## WARNING: TRACE-SIZE TOO BIG: Output Truncated!\n");
}

TEST_F(RingBuffer, PutsWhatIsAlwaysPrintedIntoBothFiles) {
    CDebug& debug = StartActiveRing();
    debug.PrintAlways(0, "both %d %s", 1, std::string(2000, 'b').c_str());
    EXPECT_EQ(NewestEntry(ReadFile(kActiveRing)), "both 1 " + std::string(2000, 'b'));
    EXPECT_EQ(Texts(kLogFile).back(), "both 1 " + std::string(1017, 'b'));
}

// Prints entries of one size until the ring wraps; returns the text of the one that wrapped it.
std::string PrintUntilWrap(CDebug& debug, std::size_t length) {
    for (int i = 0; i < 2000; ++i) {
        const std::string text = std::to_string(i) + std::string(length - 6, 'f');
        debug.PrintIt(kTargetRingBuffer, "%s", text.c_str());
        std::ifstream file("/var/log/quorvat/log.zentd_a", std::ios::binary);
        file.seekg(-1, std::ios::end);
        if (file.get() == '.') {
            return text;
        }
    }
    return "<never>";
}

TEST_F(RingBuffer, WrapRefreshesTheHeaderAndContinuesBehindTheBeginEntry) {
    CDebug& debug = StartActiveRing(3);
    const std::string before = ReadFile(kActiveRing);
    debug.ForceMaxDebug(false);
    const std::string wrapped = PrintUntilWrap(debug, 1000);
    const std::string ring = ReadFile(kActiveRing);
    const std::string beginEntry = "### Begin of RingBuffer. ###\n";
    const std::size_t restart = ring.find(beginEntry) + beginEntry.size();
    EXPECT_EQ(restart, before.find(beginEntry) + beginEntry.size());
    EXPECT_TRUE(ring.substr(restart + 49).starts_with(wrapped + '\n' + std::string(kEndMarker)));
    const std::size_t fill = ring.find_last_not_of('.') + 1;
    EXPECT_FALSE(std::string_view(ring).substr(0, fill).ends_with(kEndMarker))
        << "the fill starts where the next entry would have stood";
    EXPECT_LT(ring.size() - fill, 1000U + 49U + kEndMarker.size());
    EXPECT_NE(before.find("Trace Level                : 3\n"), std::string::npos);
    EXPECT_NE(ring.find("Trace Level                : 0\n"), std::string::npos);
}

TEST_F(RingBuffer, WrapsExactlyWhenEntryAndMarkerNoLongerFit) {
    for (const std::size_t excess : {0U, 1U}) {
        CDebug& debug = StartActiveRing();
        const std::string ring = ReadFile(kActiveRing);
        std::size_t room = kActiveRingSize - ring.rfind(kEndMarker) - kEndMarker.size();
        for (; room > 4000; room -= 2049) {
            debug.PrintIt(kTargetRingBuffer, "%s", std::string(1999, 'x').c_str());
        }
        debug.PrintIt(kTargetRingBuffer, "%s", std::string(room - 50 + excess, 'y').c_str());
        const bool hasWrapped = ReadFile(kActiveRing).back() == '.';
        EXPECT_EQ(hasWrapped, excess == 1);
        if (!hasWrapped) {
            EXPECT_TRUE(ReadFile(kActiveRing).ends_with("y\n## TRACE-END ##\n"));
        }
    }
}

TEST_F(RingBuffer, LongEntryThatWrapsStaysWhole) {
    const std::string wrapped = PrintUntilWrap(StartActiveRing(), 50'000);
    EXPECT_NE(ReadFile(kActiveRing).find(wrapped + "\n## TRACE-END ##\n"), std::string::npos);
}

TEST_F(RingBuffer, SurvivesAHeaderThatFillsIt) {
    CDebug& debug = StartActiveRing();
    std::vector<std::string> words(3000, std::string(1000, 'a'));
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    debug.SetMainParams(static_cast<int>(argv.size()), argv.data());
    debug.Print(1, "still alive");
    debug.ForceMaxDebug(false);
    Stop();
    EXPECT_EQ(ReadFile(kActiveRing).size(), kActiveRingSize);
}

TEST_F(RingBuffer, ReportsWhyItCannotBeMadeAndSwitchesTracingOff) {
    const struct {
        void (*Spoil)();
        const char* Text;
    } rows[] = {
        {[] { MakeDirectories(kInitRing); },
         "open of /var/log/quorvat/log.zentd_i failed (errno=21; Is a directory) ###"},
        {[] { std::filesystem::create_symlink("/dev/full", kInitRing); },
         "(2) write m_InternalDebugBuffer to /var/log/quorvat/log.zentd_i failed ###"},
        {[] { std::filesystem::create_symlink("/dev/null", kInitRing); },
         "mmap of /var/log/quorvat/log.zentd_i failed (errno=19; No such device) ###"},
        {[] { (void)mount("tmpfs", "/var/log/quorvat", "tmpfs", 0, "size=1m"); },
         nullptr},  // the log has no room for it either
    };
    for (const auto& row : rows) {
        ConfigureRing(3);
        row.Spoil();
        CDebug& debug = Start(false);
        EXPECT_FALSE(debug.Init("zentd"));
        EXPECT_FALSE(debug.IsTracingActive());
        EXPECT_FALSE(debug.IsLevelActive(1));
        Remove(kInitRing);  // the full file system takes entries again
        debug.PrintAlways(0, "goes on");
        const auto texts = Texts(kLogFile);
        EXPECT_EQ(texts.back(), "goes on");
        if (row.Text != nullptr) {
            EXPECT_EQ(texts.front(), std::string("### InitRingBuffer(): ") + row.Text);
        }
        Stop();
        umount("/var/log/quorvat");
    }
}

TEST_F(RingBuffer, HoldsTheLastEntryOfAKilledProcess) {
    ConfigureRing(3);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        CDebug& debug = Start();
        debug.SetApplInitDone();
        for (int i = 0; i < 12'345; ++i) {
            debug.Print(1, "entry %d", i);
        }
        (void)raise(SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(NewestEntry(ReadFile(kActiveRing)), "entry 12344");
}

// Two and a half times around with eight threads: no entry is torn, and the entries of each thread
// that are still there are its last ones in order.
TEST_F(RingBuffer, TakesEntriesOfManyThreadsWholeAndInOrder) {
    constexpr int kThreads = 8;
    constexpr int kEntries = 3500;
    CDebug& debug = StartActiveRing();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&debug, thread] {
            for (int i = 0; i < kEntries; ++i) {
                debug.Print(1, "thread %d entry %05d %s end", thread, i, "some text of a module");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const std::string ring = ReadFile(kActiveRing);
    const std::size_t restart = ring.find("### Begin of RingBuffer. ###\n") + 29;
    const std::size_t newest = ring.rfind(kEndMarker);
    // Behind the newest entry stands a line that it has torn, then the older entries, then dots.
    const std::size_t oldest = ring.find('\n', newest + kEndMarker.size()) + 1;
    const std::string history = ring.substr(oldest, ring.find_last_not_of('.') + 1 - oldest) +
                                ring.substr(restart, newest - restart);
    std::array<int, kThreads> next{};
    int found = 0;
    for (const std::string& line : Lines(history)) {
        std::size_t thread = 0;
        int entry = -1;
        int length = 0;
        ASSERT_EQ(std::sscanf(line.c_str() + 49, "thread %zu entry %d some text of a module end%n",
                              &thread, &entry, &length),
                  2);
        ASSERT_EQ(line.size(), 49U + static_cast<std::size_t>(length)) << line;
        ASSERT_TRUE(next.at(thread) == 0 || next.at(thread) == entry) << line;
        next.at(thread) = entry + 1;
        ++found;
    }
    EXPECT_GT(found, 8000);
    for (const int end : next) {
        EXPECT_TRUE(end == kEntries || end == 0) << "the newest entries of a thread are there";
    }
}

TEST_F(RingBuffer, LockIsFreeAfterAThreadWasCancelledInsideAPrint) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer takes the frames that were unwound for ones in use";
#endif
    Configure(
        "[zentd]\nFileDebugLevel=3\nRingBufferSizeFactor=1\nRingBufferSizeWeight=1\n"
        "MemoryTracesFlag=1\n");  // reading the status file is a cancellation point
    CDebug& debug = Start();
    bool isBehind = false;
    InCancelledThread([&] {
        debug.Print(1, "never written");
        isBehind = true;
    });
    EXPECT_FALSE(isBehind) << "ended inside";
    // By another thread: hangs when the lock was left held.
    debug.Print(1, "afterwards");
    EXPECT_TRUE(ReadFile(kInitRing).find("afterwards\n") != std::string::npos);
}

// Killed at any moment, also in the middle of an entry, a process leaves an entry that is whole in
// front of the last end marker.
TEST_F(RingBuffer, EndsWithAWholeEntryWheneverTheProcessDies) {
    for (unsigned int round = 0; round < 12; ++round) {
        CDebug& debug = StartActiveRing();
        const pid_t child = fork();
        if (child == 0) {
            for (int i = 0; i < 8000; ++i) {  // not as far as a wrap, which ends with a header line
                debug.Print(1, "%d and %s, whole", 4711, "a text");
            }
            while (true) {
                pause();
            }
        }
        ASSERT_GT(child, 0);
        while (NewestEntry(ReadFile(kActiveRing)).find("whole") == std::string::npos) {
            std::this_thread::yield();
        }
        std::this_thread::sleep_for(std::chrono::microseconds(100 + 37 * round));
        kill(child, SIGKILL);
        ASSERT_EQ(waitpid(child, nullptr, 0), child);
        const std::string ring = ReadFile(kActiveRing);
        const std::size_t marker = ring.rfind(kEndMarker);
        ASSERT_NE(marker, std::string::npos);
        EXPECT_TRUE(ring.substr(0, marker).ends_with("4711 and a text, whole\n"));
    }
}

}  // namespace

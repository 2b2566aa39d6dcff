// What averages hide: many threads, the slowest entries, the wrap.
#include <algorithm>
#include <barrier>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

#include "bench/comparison.h"
#include "bench/many_threads.h"
#include "bench/peers.h"
#include "bench/trace_setup.h"

namespace bench {

// From the first thread's start to the last one's end; each looks at the clock itself, because a
// thread that only watches may be put aside for longer than the work takes.
Sample TimePerEntryOfMany(const Work& work, std::size_t threads) {
    return [work, threads] {
        constexpr std::size_t kEntries = 40'000;  // of all threads
        std::barrier meeting(static_cast<std::ptrdiff_t>(threads));
        std::vector<double> starts(threads);
        std::vector<double> ends(threads);
        std::vector<std::thread> pool;
        for (std::size_t i = 0; i < threads; ++i) {
            pool.emplace_back([&, i] {
                meeting.arrive_and_wait();
                starts[i] = Now(Clock::kWall);
                work(kEntries / threads);
                ends[i] = Now(Clock::kWall);
            });
        }
        for (std::thread& thread : pool) {
            thread.join();
        }
        return (*std::max_element(ends.begin(), ends.end()) -
                *std::min_element(starts.begin(), starts.end())) /
               static_cast<double>(kEntries / threads * threads);
    };
}

namespace {

std::function<Outcome(const Settings&)> ManyThreads(std::size_t threads) {
    return [threads](const Settings& settings) {
        const auto debug = StartTrace({});
        const Peer spdlog = Spdlog(SpdlogSink::kFlushedByMany);
        const auto ours =
            TimePerEntryOfMany([&](std::size_t count) { PrintEntries(*debug, count); }, threads);
        const auto peer = ThenCut(TimePerEntryOfMany(spdlog.Open(), threads), spdlog.File);
        return Outcome{ComparePairs(ours, peer, settings.Pairs())};
    };
}

// The latency that one entry of ten thousand exceeds.
Sample LatencyOfTheSlow(Work work, std::size_t entries) {
    return [work = std::move(work), entries] {
        std::vector<float> times(entries);
        for (float& time : times) {
            const double start = Now(Clock::kWall);
            work(1);
            time = static_cast<float>(Now(Clock::kWall) - start);
        }
        const auto slow = times.begin() + static_cast<std::ptrdiff_t>(entries / 10'000 * 9'999);
        std::nth_element(times.begin(), slow, times.end());
        return static_cast<double>(*slow);
    };
}

Outcome SlowestEntries(const Settings& settings) {
    constexpr int kPairs = 9;
    const std::size_t entries = settings.IsQuick ? 400'000 : 2'000'000;
    const auto debug = StartTrace({});
    const Peer spdlog = Spdlog(SpdlogSink::kFlushed);
    const auto ours =
        LatencyOfTheSlow([&](std::size_t count) { PrintEntries(*debug, count); }, entries);
    const auto peer = ThenCut(LatencyOfTheSlow(spdlog.Open(), entries), spdlog.File);
    return {ComparePairs(ours, peer, kPairs)};
}

// A ring that is filled up to the entry that must wrap it.
class CRingBeforeWrap {
public:
    CRingBeforeWrap() : m_Debug(StartTrace(kTrace)), m_Text(900, 'x') {
        const std::size_t before = Position();
        Print();
        m_EntryLength = Position() - before;
        m_Position = before + m_EntryLength;
        const std::string ring = Ring();
        const std::size_t header = ring.find("# End of header.\n");
        const std::size_t begin = ring.find("### Begin of RingBuffer. ###\n");
        if (header == std::string::npos || begin == std::string::npos) {
            throw std::runtime_error("the ring has no header");
        }
        m_HeaderLines = static_cast<std::size_t>(
            1 + std::count(ring.begin(), ring.begin() + static_cast<std::ptrdiff_t>(header), '\n'));
        m_Restart = ring.find('\n', begin) + 1;
    }

    void Fill() {
        while (m_Position + m_EntryLength + kMarkLength <= kRingSize) {
            Print();
            m_Position += m_EntryLength;
        }
    }
    // The entry that does not fit any more.
    void Wrap() {
        Print();
        m_Position = m_Restart + m_EntryLength;
    }
    // The bytes that a wrap fills up.
    [[nodiscard]] std::size_t Rest() const {
        return (kRingSize - m_Restart - kMarkLength) % m_EntryLength + kMarkLength;
    }
    [[nodiscard]] std::size_t HeaderLines() const { return m_HeaderLines; }
    void CheckThatItWrapped() const {
        if (Ring().find(std::string(kMarkLength, '.')) == std::string::npos ||
            Position() != m_Position) {
            throw std::runtime_error("the ring did not wrap where it should");
        }
    }

private:
    static constexpr TraceSettings kTrace{.Name = "wrapped"};
    static constexpr std::size_t kRingSize = 1U << 20U;
    static constexpr std::size_t kMarkLength = 16;

    void Print() { m_Debug->CDebug::Print(1, "%s", m_Text.c_str()); }
    static std::string Ring() {
        std::ifstream file(RingPath(kTrace), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    static std::size_t Position() { return Ring().rfind("## TRACE-END ##\n"); }

    std::unique_ptr<CDebug> m_Debug;
    std::string m_Text;
    std::size_t m_EntryLength = 0;
    std::size_t m_Position = 0;
    std::size_t m_Restart = 0;
    std::size_t m_HeaderLines = 0;
};

Outcome Wrap(const Settings& settings) {
    CRingBeforeWrap ring;
    const auto other = StartTrace({});
    const std::string text(900, 'x');
    std::vector<char> rest(ring.Rest());
    const auto ours = TimeOfOne([&] { ring.Fill(); }, [&] { ring.Wrap(); });
    const auto peer = TimeOfOne([] {},
                                [&] {
                                    std::memset(rest.data(), '.', rest.size());
                                    Keep(rest.data());
                                    for (std::size_t i = 0; i < ring.HeaderLines(); ++i) {
                                        other->CDebug::Print(1, "\n%s=%s", "HX_VARIABLE", "NotSet");
                                    }
                                    other->CDebug::Print(1, "%s", text.c_str());
                                });
    const Ratio ratio = ComparePairs(ours, peer, settings.Pairs());
    ring.CheckThatItWrapped();
    return {ratio};
}

}  // namespace

Comparisons SteadinessComparisons() {
    return {
        {"10", "threads two", "two threads, per entry", "spdlog, flushed", 1.0 / 8, "ns",
         ManyThreads(2)},
        {"10", "threads eight", "eight threads, per entry", "spdlog, flushed", 1.0 / 8, "ns",
         ManyThreads(8)},
        {"11", "latency", "ring entry, slowest of 10,000", "spdlog, flushed", 0.2, "ns",
         SlowestEntries},
        {"12", "wrap", "wrap: fill, header again", "memset, an entry per header line", 1.1, "ns",
         Wrap},
    };
}

}  // namespace bench

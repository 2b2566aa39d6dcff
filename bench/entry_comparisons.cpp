// One entry in the ring or in the log file, in one thread.
#include <cstring>
#include <functional>
#include <string>

#include "base/paths.h"
#include "bench/bare_file.h"
#include "bench/baseline.h"
#include "bench/comparison.h"
#include "bench/peers.h"
#include "bench/trace_setup.h"

namespace bench {

namespace {

Outcome RingEntryAgainst(const Settings& settings, const Sample& peer) {
    const auto debug = StartTrace({});
    const auto ours = TimePerCall([&](std::size_t count) { PrintEntries(*debug, count); });
    return {ComparePairs(ours, peer, settings.Pairs())};
}

Outcome RingEntryAndFormatting(const Settings& settings) {
    const auto format = [](std::size_t count) {
        char buffer[1024];
        for (std::size_t i = 0; i < count; ++i) {
            FormatMessageWithClock(buffer, sizeof buffer, "FAN %d: %u rpm in zone %s",
                                   static_cast<int>(i & 7U), 4711U, "rear");
        }
    };
    return RingEntryAgainst(settings, TimePerCall(format));
}

// With the proof of what survives. It comes first, in children of a process that has not opened the
// peer itself yet.
std::function<Outcome(const Settings&)> RingEntryAndPeer(const Peer& peer) {
    return [peer](const Settings& settings) {
        const TraceSettings trace{.Name = "killed"};
        const std::size_t ourLines = LinesAfterKill(
            [&] { PrintEntries(*StartTrace(trace).release(), kSurvivalEntries); }, RingPath(trace));
        const std::size_t peerLines = LinesAfterKill(
            [&] { (*new Work(peer.Open()))(kSurvivalEntries); }, peer.File);  // never destroyed
        Outcome outcome = RingEntryAgainst(settings, ThenCut(TimePerCall(peer.Open()), peer.File));
        outcome.Survival = Survival(ourLines, peerLines);
        return outcome;
    };
}

Outcome RingEntryAndNull(const Settings& settings) {
    return RingEntryAgainst(settings, TimePerCall(Spdlog(SpdlogSink::kNull).Open()));
}

Outcome TextEntry(const Settings& settings, const std::string& text, const Work& peer) {
    const auto debug = StartTrace({});
    const Work ours = [&](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            debug->CDebug::Print(1, "%s", text.c_str());
        }
    };
    return {ComparePairs(TimePerCall(ours), TimePerCall(peer), settings.Pairs())};
}

Outcome LongArgument(const Settings& settings) {
    const std::string text(900, 'x');
    return TextEntry(settings, text, [&](std::size_t count) {
        char copy[1024];
        char buffer[1024];
        for (std::size_t i = 0; i < count; ++i) {
            std::memcpy(copy, text.data(), text.size());
            Keep(&copy[0]);
            FormatMessage(buffer, sizeof buffer, "%s", text.c_str());
        }
    });
}

Outcome LongMessage(const Settings& settings) {
    const std::string text(50'000, 'x');
    std::string buffer(text.size() + 1, '\0');
    return TextEntry(settings, text, [&](std::size_t count) {
        for (std::size_t i = 0; i < 2 * count; ++i) {
            FormatMessage(buffer.data(), buffer.size(), "%s", text.c_str());
        }
    });
}

Outcome LogFileEntry(const Settings& settings) {
    const TraceSettings trace{.Name = "logfile", .Level = 0, .RingMebibytes = 0};
    const std::size_t ourLines = LinesAfterKill(
        [&] { PrintEntriesAlways(*StartTrace(trace).release(), kSurvivalEntries / 2); },
        LogPath(trace));
    const auto debug = StartTrace(trace);
    const std::string line =
        "2026-01-01 12:00:00.000 [00000000] logfile       FAN 3: 4711 rpm in zone rear\n";
    CBareFile file(std::string(paths::kTraceDirectory) + "/bare");
    constexpr std::size_t kFileMax = 51'200;  // where the log file begins anew, too
    const auto ours = TimePerCall([&](std::size_t count) { PrintEntriesAlways(*debug, count); });
    const auto peer = TimePerCall([&](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            file.Write(line, kFileMax);
        }
    });
    return {ComparePairs(ours, peer, settings.Pairs()),
            ourLines == kSurvivalEntries / 2 ? "yes / yes" : "no / yes"};
}

Outcome MemoryColumn(const Settings& settings) {
    const auto withColumn = StartTrace({.Name = "column", .HasMemoryColumn = true});
    const auto without = StartTrace({});
    const CBareFile status(paths::kProcSelfStatus, CBareFile::kRead);
    const auto ours = TimePerCall([&](std::size_t count) { PrintEntries(*withColumn, count); });
    const auto peer = TimePerCall([&](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            PrintEntries(*without, 1);
            status.ReadFromStart();
        }
    });
    return {ComparePairs(ours, peer, settings.Pairs())};
}

}  // namespace

Comparisons EntryComparisons() {
    const std::string entry = "ring entry";
    return {
        {"3", "entry format", entry, "vsnprintf and a clock read", 1.0, "ns",
         RingEntryAndFormatting},
        {"4", "entry spdlog-flushed", entry, "spdlog, flushed", 0.09, "ns",
         RingEntryAndPeer(Spdlog(SpdlogSink::kFlushed))},
        {"5", "entry spdlog-buffered", entry, "spdlog, not flushed", 0.35, "ns",
         RingEntryAndPeer(Spdlog(SpdlogSink::kBuffered))},
        {"6", "entry spdlog-null", entry, "spdlog, null sink", 1.0, "ns", RingEntryAndNull},
        {"7", "entry glog", entry, "glog", 0.1, "ns", RingEntryAndPeer(Glog())},
        {"7", "entry log4cplus", entry, "log4cplus", 0.1, "ns", RingEntryAndPeer(Log4cplus())},
        {"7", "entry boost", entry, "Boost.Log", 0.1, "ns", RingEntryAndPeer(BoostLog())},
        {"8", "entry long-argument", "ring entry, 900-byte string", "memcpy and vsnprintf", 1.0,
         "ns", LongArgument},
        {"9", "entry long-message", "ring entry, 50 KB message", "vsnprintf twice", 1.0, "ns",
         LongMessage},
        {"13", "entry log-file", "log-file entry", "bare write of the line", 1.2, "ns",
         LogFileEntry},
        {"14", "entry memory-column", "entry with memory column", "entry without, and a pread",
         1.05, "ns", MemoryColumn},
    };
}

}  // namespace bench

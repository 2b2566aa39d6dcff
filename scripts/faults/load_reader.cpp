// Follows the ring of a daemon under load until SIGTERM, then reads ring and log as a whole.
//
// Prints "breach: ..." for whatever is torn, out of order or missing, and "figure: N ..." for what
// was read. Exits with 1 when there was a breach.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "scripts/faults/load_text.h"
#include "tests/support/private_root_guard.h"
#include "trace_reader/ring_follower.h"
#include "trace_reader/trace_file.h"

namespace {

using trace_reader::CRingFollower;
using trace_reader::Entry;

constexpr char kRing[] = "/var/log/quorvat/log.zentd_a";
constexpr char kLog[] = "/var/log/quorvat/log.zentd";
constexpr int kReportedMax = 20;

// NOLINTBEGIN(cppcoreguidelines-avoid-non-const-global-variables): of one run, which is one process
volatile std::sig_atomic_t IsEnding = 0;
int Breaches = 0;
// NOLINTEND(cppcoreguidelines-avoid-non-const-global-variables)

void Report(std::string_view what, const Entry& entry) {
    if (++Breaches <= kReportedMax) {
        (void)std::printf("breach: %.*s at %llu: %.*s\n", static_cast<int>(what.size()),
                          what.data(), static_cast<unsigned long long>(entry.Offset),
                          static_cast<int>(std::min<std::size_t>(entry.Bytes.size(), 300)),
                          entry.Bytes.data());
    }
}

bool Take(std::string_view& text, std::string_view expected) {
    const bool isThere = text.starts_with(expected);
    text.remove_prefix(isThere ? expected.size() : 0);
    return isThere;
}

std::optional<std::uint64_t> TakeNumber(std::string_view& text) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return error == std::errc() ? std::optional(number) : std::nullopt;
}

// One reading of entries in their order.
class CReading {
public:
    // `isComplete`: entries of level 0 are missing only where Skip was called.
    CReading(const char* name, bool isComplete) : m_Name(name), m_IsComplete(isComplete) {}

    void Receive(const Entry& entry);
    // Entries were lost to the reader.
    void Skip() {
        ++m_Skips;
        for (Thread& thread : m_Threads) {
            thread.IsNextKnown = false;
        }
    }
    // The threads have ended: what they wrote last must have been read.
    void DemandEnds() const;
    void PrintFigures() const;

private:
    struct Thread {
        std::uint64_t Last = 0;
        std::uint64_t Count = 0;
        std::uint64_t Always = 0;
        std::string Id;
        bool IsNextKnown = false;
        bool IsEnded = false;
    };
    bool Check(Thread& thread, unsigned int number, const Entry& entry, std::string_view rest);

    bool IsRest(std::string_view text);

    const char* m_Name;
    bool m_IsComplete;
    int m_Rests = 0;
    std::array<Thread, load::kThreads> m_Threads;
    std::uint64_t m_Others = 0;
    std::uint64_t m_Skips = 0;
};

void CReading::Receive(const Entry& entry) {
    std::string_view text = entry.Text();
    if (!Take(text, "LOAD ")) {
        ++m_Others;
        // Nothing else of this process looks like the letters of the filler.
        const std::string_view rest = text.substr(std::min(text.find('\n'), text.size()));
        if (text.find("abcde") != std::string_view::npos && !IsRest(rest)) {
            Report("torn entry", entry);
        }
        return;
    }
    const auto number = TakeNumber(text);
    if (!number || *number >= load::kThreads ||
        !Check(m_Threads[*number], static_cast<unsigned int>(*number), entry, text)) {
        Report("torn entry", entry);
    }
}

// False when the entry is not whole. `rest` is its text behind the thread's number.
bool CReading::Check(Thread& thread, unsigned int number, const Entry& entry,
                     std::string_view rest) {
    if (thread.Id.empty()) {
        thread.Id = entry.Header.Thread;
    }
    if (thread.Id != entry.Header.Thread || entry.Header.Source != "zentd") {
        return false;
    }
    if (Take(rest, " ends with ")) {
        const auto last = TakeNumber(rest);
        const auto always = Take(rest, ", ") ? TakeNumber(rest) : std::nullopt;
        if (m_IsComplete && thread.IsNextKnown && last != thread.Last) {
            Report("the last entry is missing", entry);
        }
        thread.IsEnded = true;
        thread.Always = always.value_or(0);
        return last && always && rest == " of them for the log";
    }
    const auto own = Take(rest, " ") ? TakeNumber(rest) : std::nullopt;
    if (!own || !Take(rest, " ") || !Take(rest, load::Filler(number, *own)) || !Take(rest, " ") ||
        TakeNumber(rest) != own || (!rest.empty() && !IsRest(rest))) {
        return false;
    }
    if (*own <= thread.Last) {
        Report("out of order", entry);
    } else if (m_IsComplete && thread.IsNextKnown && *own != thread.Last + 1) {
        Report("entries before it are missing", entry);
    }
    thread.Last = *own;
    thread.IsNextKnown = load::LevelOf(number) == 0;
    ++thread.Count;
    return true;
}

// A log that has wrapped is not cut: at its end, where an older round reached further than the last
// one, a part of an older line may stand behind a whole entry.
bool CReading::IsRest(std::string_view text) {
    return !m_IsComplete && text.starts_with('\n') && ++m_Rests == 1;
}

void CReading::DemandEnds() const {
    for (const Thread& thread : m_Threads) {
        if (thread.Count != 0 && !thread.IsEnded) {
            Report("the end is missing of a thread", {.Bytes = thread.Id, .Header = {}});
        }
    }
}

void CReading::PrintFigures() const {
    std::uint64_t count = 0;
    std::uint64_t last = 0;
    std::uint64_t always = 0;
    for (unsigned int i = 0; i < load::kThreads; ++i) {
        count += m_Threads[i].Count;
        last += load::LevelOf(i) == 0 ? m_Threads[i].Last : 0;
        always += m_Threads[i].Always;
    }
    const auto print = [this](std::uint64_t figure, const char* what) {
        (void)std::printf("figure: %llu %s %s\n", static_cast<unsigned long long>(figure), m_Name,
                          what);
    };
    print(count, "entries of the load");
    print(m_Others, "other entries");
    if (m_IsComplete) {
        print(m_Skips, "times overtaken");
        print(last, "entries written at level 0");
        print(always, "entries written for the log");
    }
}

// Until the signal comes, and then until there is nothing new.
void Follow(CReading& reading) {
    trace_reader::CTraceFileBytes file;
    std::optional<CRingFollower> follower;
    for (bool isLastLook = false;;) {
        if (!follower && file.Open(kRing) == 0) {
            follower.emplace(file, CRingFollower::From::kOldest);
        }
        const auto result =
            follower ? follower->Look([&](const Entry& entry) { reading.Receive(entry); })
                     : CRingFollower::Result::kNothing;
        if (result == CRingFollower::Result::kLost) {
            reading.Skip();
        } else if (result == CRingFollower::Result::kOtherRing) {
            Report("the ring was made anew", {});
        } else if (result == CRingFollower::Result::kNothing) {
            if (isLastLook) {
                return;
            }
            isLastLook = IsEnding != 0;
            (void)usleep(1000);
        }
    }
}

void ReadWhole(const char* path, CReading& reading) {
    trace_reader::TraceFile file;
    if (trace_reader::OpenTraceFile(path, file) != 0) {
        Report(std::string(path) + " cannot be opened", {});
        return;
    }
    trace_reader::CEntryReader entries = file.Entries();
    while (const Entry* const entry = entries.Next()) {
        reading.Receive(*entry);
    }
}

}  // namespace

int main() {
    RequirePrivateRoot();
    (void)std::signal(SIGTERM, [](int) { IsEnding = 1; });
    CReading followed("followed:", true);
    Follow(followed);
    followed.DemandEnds();
    followed.PrintFigures();
    CReading ring("ring:", true);
    ReadWhole(kRing, ring);
    ring.PrintFigures();
    CReading log("log:", false);
    ReadWhole(kLog, log);
    log.PrintFigures();
    (void)std::printf("figure: %d breaches\n", Breaches);
    return Breaches == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

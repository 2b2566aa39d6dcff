// A process that writes entries is killed at a random moment: whatever it was told to be written is
// in the ring and in the log, and the next start works.
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <new>
#include <random>
#include <set>
#include <string_view>

#include "scripts/faults/scenario.h"
#include "trace/debug.h"

namespace {

constexpr char kConfig[] = "/etc/velmor/OskariaSuite/TraceConfig/zentd.ini";
constexpr char kLog[] = "/var/log/quorvat/log.zentd";
constexpr char kRing[] = "/var/log/quorvat/log.zentd_a";
constexpr char kMark[] = "## TRACE-END ##\n";
constexpr unsigned int kAlwaysEvery = 16;  // entries that go to the log, too

// What the writer knows to be written.
struct Progress {
    std::atomic<bool> IsStarted;
    std::atomic<unsigned int> Ring;
    std::atomic<unsigned int> Log;
};

[[noreturn]] void WriteForEver(Progress& progress) {
    CDebug debug;
    (void)debug.Init("zentd");
    debug.SetApplInitDone();
    progress.IsStarted = true;
    for (unsigned int i = 1;; ++i) {
        if (i % kAlwaysEvery == 0) {
            debug.PrintAlways("entry %08u %0700u %08u", i, 0U, i);
            progress.Log = i;
        } else {
            debug.Print(1, "entry %08u %0700u %08u", i, 0U, i);
        }
        progress.Ring = i;
    }
}

// Finds out which entries are whole; what begins as one and is not is counted as torn.
std::set<unsigned int> WholeEntries(std::string_view text, unsigned int& torn) {
    constexpr std::string_view kBegin = " entry ";
    constexpr std::size_t kLength = 8 + 1 + 700 + 1 + 8;
    std::set<unsigned int> whole;
    torn = 0;
    for (std::size_t at = text.find(kBegin); at != std::string_view::npos;
         at = text.find(kBegin, at + 1)) {
        const std::string_view entry = text.substr(at + kBegin.size(), kLength + 1);
        const std::string_view number = entry.substr(0, 8);
        if (entry.size() > kLength && entry.back() == '\n' &&
            entry.substr(kLength - 8, 8) == number &&
            entry.substr(8, 702).find_first_not_of("0 ") == std::string_view::npos) {
            whole.insert(static_cast<unsigned int>(std::strtoul(number.data(), nullptr, 10)));
        } else {
            ++torn;
        }
    }
    return whole;
}

// The entries that the ring still has are one row that ends with the newest.
void LookAtRing(const Progress& progress, std::map<std::string, int>& figures) {
    const std::string ring = ContentOf(kRing);
    unsigned int torn = 0;
    const std::set<unsigned int> whole = WholeEntries(ring, torn);
    const unsigned int told = progress.Ring;
    const unsigned int newest = whole.empty() ? 0 : *whole.rbegin();
    Demand(newest == told || newest == told + 1,
           "ring: told " + std::to_string(told) + ", newest " + std::to_string(newest));
    Demand(whole.empty() || newest - *whole.begin() + 1 == whole.size(),
           "ring: gaps between " + std::to_string(whole.empty() ? 0 : *whole.begin()) + " and " +
               std::to_string(newest));
    Demand(torn <= 2, "ring: torn entries: " + std::to_string(torn));
    const std::size_t mark = ring.rfind(kMark);
    Demand(told == 0 || mark != std::string::npos, "ring: no end marker");
    if (mark == std::string::npos || mark < 9) {
        return;
    }
    const std::string before = ring.substr(mark - 9, 8);
    const bool isEntry = before == std::to_string(newest + 100'000'000).substr(1) ||
                         before == std::to_string(told + 100'000'000).substr(1);
    figures["killed while the ring wrapped"] += told > 0 && !isEntry ? 1 : 0;
    figures["rings that had wrapped"] += told > 1400 ? 1 : 0;
}

void LookAtLog(const Progress& progress) {
    unsigned int torn = 0;
    const std::string log = ContentOf(kLog);
    const std::set<unsigned int> whole = WholeEntries(log, torn);
    const unsigned int told = progress.Log;
    Demand(told == 0 || whole.contains(told), "log: lacks " + std::to_string(told));
    Demand(torn <= 1, "log: torn entries: " + std::to_string(torn));
}

void DemandNextStart() {
    const pid_t child = fork();
    if (child == 0) {
        CDebug debug;
        const bool isStarted = debug.Init("zentd");
        debug.SetApplInitDone();
        debug.Print(1, "next");
        _exit(isStarted && debug.IsTracingActive() ? 0 : 1);
    }
    int status = 0;
    (void)waitpid(child, &status, 0);
    Demand(status == 0, "the next start has no rings");
}

}  // namespace

void RunWriter(unsigned int count, unsigned int seed) {
    Put("/var/log/quorvat/other", "");
    Put(kConfig,
        "[zentd]\nFileDebugLevel=3\nRingBufferSizeFactor=1\nRingBufferSizeWeight=1\n"
        "MemoryTracesFlag=0\n[EndOfFile]\n");
    std::mt19937 dice(seed);
    std::map<std::string, int> figures;
    void* const shared =
        mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    for (unsigned int i = 0; i < count; ++i) {
        auto* const progress = new (shared) Progress{};
        const pid_t writer = fork();
        if (writer == 0) {
            WriteForEver(*progress);
        }
        const bool isEarly = dice() % 5 == 0;
        while (!isEarly && !progress->IsStarted) {
            (void)usleep(100);
        }
        (void)usleep(static_cast<unsigned int>(dice() % 20'000));
        (void)kill(writer, SIGKILL);
        (void)waitpid(writer, nullptr, 0);
        ++figures["writers killed"];
        figures["of these before the end of their start"] += progress->IsStarted ? 0 : 1;
        if (progress->IsStarted) {
            LookAtRing(*progress, figures);
            LookAtLog(*progress);
        }
        if (i % 10 == 0) {
            DemandNextStart();
        }
    }
    for (const auto& [what, number] : figures) {
        (void)std::printf("figure: %d %s\n", number, what.c_str());
    }
}

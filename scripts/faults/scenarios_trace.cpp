// The trace object under faults: start, rings, wrap, log file, dynamic update.
#include <fcntl.h>
#include <sys/stat.h>

#include <string>

#include "scripts/faults/scenario.h"
#include "scripts/faults/window.h"
#include "trace/debug.h"

namespace {

constexpr char kConfig[] = "/etc/velmor/OskariaSuite/TraceConfig/zentd.ini";
constexpr char kGlobalConfig[] = "/etc/velmor/OskariaSuite/TraceConfig/global_trace.ini";
constexpr char kLog[] = "/var/log/quorvat/log.zentd";
constexpr char kRing[] = "/var/log/quorvat/log.zentd_a";
constexpr int kWrapping = 1500;  // entries that fill the smallest ring more than once

void Configure(int level) {
    Put("/var/log/quorvat/other", "");
    Put(kConfig, "[zentd]\nFileDebugLevel=" + std::to_string(level) +
                     "\nRingBufferSizeFactor=1\nRingBufferSizeWeight=1\nMemoryTracesFlag=0\n"
                     "[EndOfFile]\n");
    Put(kGlobalConfig, "[GlobalDebugSettings]\nDynamicUpdate=1\n[EndOfFile]\n");
}

// The text before the last end marker.
std::string NewestEntry() {
    const std::string ring = ContentOf(kRing);
    const std::size_t mark = ring.rfind("## TRACE-END ##\n");
    if (mark == std::string::npos || mark == 0) {
        return "";
    }
    const std::size_t begin = ring.rfind('\n', mark - 2);
    return ring.substr(begin + 1, mark - begin - 2);
}

// Every line of the log is whole: a header, or the line of a wrap. Where the newest line of a log
// that has wrapped ends, an older one may be left in part.
void DemandWholeLines(const std::string& log) {
    int torn = log.find("------ WRAP") == std::string::npos ? 0 : -1;
    for (std::size_t begin = 0; begin < log.size();) {
        const std::size_t end = log.find('\n', begin);
        const std::string line = log.substr(begin, end - begin);
        if (!line.starts_with("20") && !line.starts_with("------ WRAP") && ++torn > 0) {
            Report("torn line: " + line);
        }
        if (end == std::string::npos) {
            return;
        }
        begin = end + 1;
    }
}

}  // namespace

// From the start over the end of the initialisation to a wrapped ring and the end.
void RunRing() {
    Configure(3);
    std::string newest;
    UnderFaultsHoldingNothing([&] {
        CDebug debug;
        (void)debug.Init("zentd");
        char word[] = "scenario";
        char* arguments[] = {word, nullptr};
        debug.SetMainParams(1, static_cast<char**>(arguments));
        debug.SetApplInitDone();
        for (int i = 1; i <= kWrapping; ++i) {
            debug.Print(1, "entry %05d %0990d", i, 0);
        }
        debug.Print(1, "long %01500d", 0);
        debug.Print(1, "last");
    });
    newest = NewestEntry();
    Outcome(newest.ends_with(" last") ? "done" : "refused");
    const std::string log = ContentOf(kLog);
    DemandWholeLines(log);
    if (!newest.ends_with(" last")) {
        Demand(newest.find("entry") == std::string::npos, "the ring ends with: " + newest);
    }
}

void RunLogFile() {
    Configure(0);
    UnderFaultsHoldingNothing([] {
        CDebug debug;
        (void)debug.Init("zentd");
        debug.SetApplInitDone();
        for (int i = 1; i <= 70; ++i) {
            debug.PrintAlways("entry %05d %01000d", i, 0);
        }
        CloseFaultWindow();
        debug.PrintAlways("entry %05d %01000d", 71, 0);  // behind what the last fault left
    });
    const std::string log = ContentOf(kLog);
    DemandWholeLines(log);
    Outcome(log.empty() ? "refused" : "done");
    Demand(log.empty() || log.find("entry 00069") != std::string::npos,
           "more than the last entry is lost");
}

// The configuration changes; the fault strikes while the change is found and read.
void RunDynamicUpdate() {
    Configure(1);
    CDebug debug;
    Demand(debug.Init("zentd"), "no start");
    debug.SetApplInitDone();
    Configure(5);
    const timespec times[] = {{.tv_sec = 4'000'000'000, .tv_nsec = 0},
                              {.tv_sec = 4'000'000'000, .tv_nsec = 0}};
    (void)utimensat(AT_FDCWD, kConfig, static_cast<const timespec*>(times), 0);
    (void)utimensat(AT_FDCWD, kGlobalConfig, static_cast<const timespec*>(times), 0);
    // Nothing was printed by level yet, so the first look is due at once.
    UnderFaultsHoldingNothing([&] { debug.Print(6, "looks for changes"); });
    Outcome(debug.IsLevelActive(5) ? "done" : "refused");
    Demand(debug.IsLevelActive(1) && !debug.IsLevelActive(6), "neither the old nor the new level");
    debug.Print(1, "goes on");
    Demand(NewestEntry().ends_with("goes on"), "the ring ends with: " + NewestEntry());
}

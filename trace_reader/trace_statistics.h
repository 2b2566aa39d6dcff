// What a trace amounts to: times, entries, sources, threads, pauses.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "trace_reader/trace_file.h"

namespace trace_reader {

struct Pause {
    std::string From;
    std::int64_t Milliseconds = 0;
};

struct TraceStatistics {
    std::string First;  // the earliest and the latest time, empty without entries
    std::string Last;
    std::uint64_t Entries = 0;
    std::uint64_t Bytes = 0;
    std::uint64_t StepsBack = 0;  // an entry's time is before that of the entry before it
    std::map<std::string, std::uint64_t> Sources;
    std::map<std::string, std::uint64_t> Threads;
    std::vector<Pause> Pauses;            // the longest times without an entry, at most three
    std::vector<std::uint64_t> Timeline;  // entries in equal parts of the time

    // 0 when all entries are of one moment.
    [[nodiscard]] double Seconds() const;
};

// Reads the file, twice for its timeline.
[[nodiscard]] TraceStatistics CountEntries(const TraceFile& file, std::size_t timelineParts);

}  // namespace trace_reader

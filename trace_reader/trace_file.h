// A trace file of any kind, opened and laid out: a ring, a compressed one, or a log file.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "trace_reader/entry_reader.h"
#include "trace_reader/log_layout.h"
#include "trace_reader/ring_layout.h"

namespace trace_reader {

struct TraceFile {
    std::string Path;
    std::shared_ptr<const CTraceBytes> Bytes;
    bool IsRing = false;
    bool IsPacked = false;
    std::string Defect;  // why a packed file could not be unpacked to its end; else empty
    std::uint32_t Mode = 0;
    RingLayout Ring;              // of a ring
    LogLayout Log;                // of a log file
    std::vector<Region> Regions;  // oldest first

    [[nodiscard]] CEntryReader Entries() const { return {*Bytes, Regions}; }
    // The entries of the log header that stands at the start of a ring, or of a log file.
    [[nodiscard]] CEntryReader FrontEntries() const;
};

[[nodiscard]] std::vector<Region> RingRegions(const RingLayout& ring);
[[nodiscard]] std::vector<Region> LogRegions(const LogLayout& log);

// Lays bytes out; the kind is told by what they hold.
[[nodiscard]] TraceFile LayOut(std::shared_ptr<const CTraceBytes> bytes);

// 0 with `file` filled, or an errno number (EINVAL: no regular file).
[[nodiscard]] int OpenTraceFile(const std::string& path, TraceFile& file);

}  // namespace trace_reader

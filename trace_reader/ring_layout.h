// Where things stand in a ring file: its begin, the newest entry's end, what is left of older ones.
//
// The end marker stands behind the newest entry, and that is the last marker of the file: each
// entry overwrites the marker of the one before. Two things can stand behind it and look like it:
// a marker in the text of an older entry, and the marker of an entry that its writer did not live
// to finish (docs/formats.md). So a marker is the end only if no newer entry follows it. A large
// ring is not searched from end to end: entries before the marker are not older than the first one
// of the present round, entries behind it are, so that the marker is found by halving.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "trace_reader/trace_bytes.h"

namespace trace_reader {

struct RingBegin {
    std::uint64_t Offset = 0;   // of the entry "### Begin of RingBuffer. ###"
    std::uint64_t Restart = 0;  // behind it: where each round begins
};

// An entry that was met on the way.
struct FoundEntry {
    std::uint64_t Offset = 0;
    std::string Time;
    bool IsPrefill = false;
};

struct RingLayout {
    // What tells the end of the newest entry.
    enum class EndedBy {
        kMarker,
        kFill,      // no marker, but dots at the end of the file: the writer was just going round
        kTimeDrop,  // no marker: the writer was just writing; older entries follow here
        kNothing    // no marker, and no older entry either
    };
    std::optional<RingBegin> Begin;
    EndedBy By = EndedBy::kNothing;
    std::uint64_t Size = 0;
    std::uint64_t FirstEntry = 0;     // where the present round begins
    std::uint64_t End = 0;            // behind the newest entry
    std::uint64_t OldBegin = 0;       // behind the marker: the rest of a line, then older entries
    std::uint64_t TextEnd = 0;        // behind the last line of the file; dots may follow
    bool IsWrapped = false;           // there are older entries behind the end
    std::optional<FoundEntry> First;  // of the present round
    std::optional<FoundEntry> Old;    // the first one behind the end, where that is a marker
};

// The begin entry, which stands at a multiple of 1 KiB near the start of the file.
[[nodiscard]] std::optional<RingBegin> FindRingBegin(const CTraceBytes& bytes);

// Whether the beginning of the file has anything that only rings have.
[[nodiscard]] bool LooksLikeRing(const CTraceBytes& bytes);

[[nodiscard]] RingLayout FindRingLayout(const CTraceBytes& bytes);

// The first entry that begins at or behind `offset` and before `limit`.
[[nodiscard]] std::optional<FoundEntry> FindEntryAt(const CTraceBytes& bytes, std::uint64_t offset,
                                                    std::uint64_t limit);

struct FoundMarker {
    std::uint64_t Offset = 0;
    bool IsSure = false;             // no newer entry follows
    std::optional<FoundEntry> Next;  // what follows; not a line that fills a new ring
};
// The first sure end marker from `from` on (the begin of a line), else the last other one before
// `to`. `lastTime` is the time of the entry that ends at `from`, if it is known.
[[nodiscard]] std::optional<FoundMarker> FindEndMarker(const CTraceBytes& bytes, std::uint64_t from,
                                                       std::uint64_t to, std::string lastTime);

// Behind the last newline in a part of the file; `begin` when there is none.
[[nodiscard]] std::uint64_t FindTextEnd(const CTraceBytes& bytes, std::uint64_t begin,
                                        std::uint64_t end);

}  // namespace trace_reader

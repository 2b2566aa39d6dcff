// Entries of several files in the order of their times, each entry once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

#include "trace_reader/entry_reader.h"

namespace trace_reader {

// How much later than the ring's entry the log file's copy may be: a writer is put off in between.
inline constexpr std::int64_t kCopyMilliseconds = 50;

// Recognises the log file's copy of an entry that the ring has too: "always" entries are written to
// both, one right after the other. Same thread, source and text; the two headers are composed by
// themselves, so that time and memory column may differ by as much as that takes.
class CCopyFilter {
public:
    void AddFromRing(const Entry& entry);
    // Whether the entry of a log file is such a copy. A ring's entry has one copy only.
    [[nodiscard]] bool IsCopy(const Entry& entry);

private:
    struct Known {
        std::int64_t Time;  // in milliseconds
        std::size_t Hash;
    };
    std::deque<Known> m_Known;  // of the last moments, oldest first
};

// Takes entries from its readers, the oldest first one each time. Within a file the order stays,
// also where a clock was set back. Of equal times, those of earlier readers come first: rings are
// to stand before log files.
class CMerge {
public:
    struct Source {
        CEntryReader Reader;
        bool IsRing = false;
        const Entry* Head = nullptr;
    };
    struct Item {
        const Entry* Record = nullptr;  // null: there is no more
        std::size_t Source = 0;
    };

    void Add(CEntryReader reader, bool isRing);
    // Valid until the next call.
    [[nodiscard]] Item Next();
    [[nodiscard]] std::uint64_t LostBytes(std::size_t source) const {
        return m_Sources[source].Reader.LostBytes();
    }

private:
    [[nodiscard]] Item Oldest();

    std::deque<Source> m_Sources;    // entries point into their readers, which stay where they are
    std::size_t m_Taken = SIZE_MAX;  // whose head was handed over
    bool m_IsStarted = false;
    CCopyFilter m_Copies;
};

}  // namespace trace_reader

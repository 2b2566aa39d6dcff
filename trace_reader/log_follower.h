// Follows a log file that another process writes.
#pragma once

#include <chrono>
#include <ctime>
#include <functional>
#include <string>

#include "trace_reader/trace_file.h"

namespace trace_reader {

// Each entry of a log file is one write, so a look that finds the file changed lays it out again
// and hands over what stands behind the entry that was handed over last. Where the newest entry of
// a file that has wrapped ends, nothing in the file tells; what has changed since the look before
// does. A write may have come to the end of a page only, for as long as its writer is not let on:
// an entry that could be such a one waits for a second. An entry that takes the file past its limit
// loses the lines behind that.
class CLogFollower {
public:
    using Receiver = std::function<void(const Entry&)>;
    enum class Result { kNothing, kEntries, kLost };

    explicit CLogFollower(const CTraceFileBytes& bytes) : m_Bytes(bytes) {}

    // What is in the layout counts as handed over.
    void StartBehind(const TraceFile& file);
    // kLost: the entry handed over last has been overwritten, or the file was emptied, so that what
    // comes is all that is there, and something in between may be missing.
    [[nodiscard]] Result Look(const Receiver& receive);

private:
    // The newest entry while it is not handed over.
    struct Held {
        std::uint64_t Begin = 0;    // 0: none is held back
        std::uint64_t Changed = 0;  // behind the last byte that it changed; 0: not known
        std::chrono::steady_clock::time_point Since;
    };

    [[nodiscard]] bool HasChanged();
    void Remember(const Entry& entry);
    [[nodiscard]] bool ReadWhole(std::string& text);
    [[nodiscard]] bool IsLast(std::string_view entry, std::uint64_t offset) const;
    void EndNewest(const LogLayout& layout, const std::string& text, std::vector<Region>& regions);
    void EndOrHold(std::uint64_t begin, std::uint64_t changed, const std::string& text,
                   Region& newest);

    const CTraceFileBytes& m_Bytes;
    struct stat m_Status {};
    std::uint64_t m_LastOffset = 0;
    std::string m_LastBytes;  // empty: nothing was handed over
    std::string m_Before;     // the file at the look before; empty: none, or too large
    std::uint32_t m_CycleBefore = 0;
    bool m_MayBeTorn = false;  // the file was read while a write went on
    int m_Restless = 0;        // looks in a row at which the file never stood still
    Held m_Held;
};

}  // namespace trace_reader

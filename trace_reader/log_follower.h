// Follows a log file that another process writes.
#pragma once

#include <ctime>
#include <functional>
#include <string>

#include "trace_reader/trace_file.h"

namespace trace_reader {

// Each entry of a log file is one write, so a look that finds the file changed lays it out again
// and hands over what stands behind the entry that was handed over last.
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
    [[nodiscard]] bool HasChanged();
    void Remember(const Entry& entry);

    const CTraceFileBytes& m_Bytes;
    struct stat m_Status {};
    std::uint64_t m_LastOffset = 0;
    std::string m_LastBytes;  // empty: nothing was handed over
};

}  // namespace trace_reader

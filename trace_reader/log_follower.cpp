#include "trace_reader/log_follower.h"

namespace trace_reader {

bool CLogFollower::HasChanged() {
    const struct stat before = m_Status;
    m_Status = m_Bytes.Status();
    return m_Status.st_size != before.st_size || m_Status.st_mtim.tv_sec != before.st_mtim.tv_sec ||
           m_Status.st_mtim.tv_nsec != before.st_mtim.tv_nsec;
}

void CLogFollower::Remember(const Entry& entry) {
    m_LastOffset = entry.Offset;
    m_LastBytes = entry.Bytes;
}

void CLogFollower::StartBehind(const TraceFile& file) {
    (void)FindPlaceBack(*file.Bytes, file.Regions, [this](const Entry& entry) {
        const bool isWhole = entry.Bytes.ends_with('\n');
        if (isWhole) {
            Remember(entry);
        }
        return isWhole;
    });
}

CLogFollower::Result CLogFollower::Look(const Receiver& receive) {
    if (!HasChanged()) {
        return Result::kNothing;
    }
    const LogLayout layout = FindLogLayout(m_Bytes);
    const std::vector<Region> regions = LogRegions(layout);
    bool isFound = false;
    const auto place = FindPlaceBack(m_Bytes, regions, [&](const Entry& entry) {
        // The last one may have lost what looked like further lines of it.
        isFound = !m_LastBytes.empty() && entry.Offset == m_LastOffset &&
                  m_LastBytes.starts_with(entry.Bytes.substr(0, NextLine(entry.Bytes, 0)));
        return isFound;
    });
    CEntryReader reader(m_Bytes, regions, isFound ? place : CEntryReader::Place{});
    const bool isLost = !isFound && !m_LastBytes.empty();
    bool isNew = false;
    if (isFound) {
        (void)reader.Next();
    }
    while (const Entry* const entry = reader.Next()) {
        if (!entry->Bytes.ends_with('\n')) {
            continue;  // a write that is just going on
        }
        receive(*entry);
        Remember(*entry);
        isNew = true;
    }
    if (isLost) {
        return Result::kLost;
    }
    return isNew ? Result::kEntries : Result::kNothing;
}

}  // namespace trace_reader

#include "trace_reader/log_follower.h"

#include <algorithm>
#include <utility>

namespace trace_reader {

namespace {

constexpr std::size_t kWholeMax = std::size_t{64} << 20U;  // larger files are not kept

// The clock of file times ticks some hundred times a second: a later write may show the same time.
bool IsRecent(const timespec& changed) {
    constexpr std::int64_t kTicksMs = 50;
    timespec now{};
    (void)clock_gettime(CLOCK_REALTIME, &now);
    const std::int64_t ms =
        (now.tv_sec - changed.tv_sec) * 1000 + (now.tv_nsec - changed.tv_nsec) / 1'000'000;
    return ms > -kTicksMs && ms < kTicksMs;
}

// Behind the last byte that differs from what was there before; 0 when none does.
std::size_t EndOfChange(const std::string& before, const std::string& text) {
    if (text.size() > before.size()) {
        return text.size();
    }
    std::size_t end = text.size();
    while (end > 0 && text[end - 1] == before[end - 1]) {
        --end;
    }
    return end;
}

// Whether the entry's last page may still have what was there before: a write goes page by page.
bool MayBeHalf(std::uint64_t begin, std::uint64_t end, std::uint64_t changed) {
    constexpr std::uint64_t kPage = 4096;
    const std::uint64_t lastPage = (end - 1) / kPage * kPage;
    return lastPage > begin && changed <= lastPage;
}

}  // namespace

bool CLogFollower::HasChanged() {
    const struct stat before = m_Status;
    m_Status = m_Bytes.Status();
    return m_Status.st_size != before.st_size || m_Status.st_mtim.tv_sec != before.st_mtim.tv_sec ||
           m_Status.st_mtim.tv_nsec != before.st_mtim.tv_nsec || m_Held.Begin != 0 ||
           m_Restless != 0 || IsRecent(m_Status.st_mtim);
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

// Of an entry, its first line is enough: it may have lost what looked like further ones.
bool CLogFollower::IsLast(std::string_view entry, std::uint64_t offset) const {
    return !m_LastBytes.empty() && offset == m_LastOffset &&
           m_LastBytes.starts_with(entry.substr(0, NextLine(entry, 0)));
}

// Reads the file until two readings are the same, so that no write is seen half. A writer that does
// not even pause for that is taken as it is after some looks, but for its newest entry. False: look
// again.
bool CLogFollower::ReadWhole(std::string& text) {
    constexpr int kTries = 5;
    constexpr int kLooks = 20;
    m_MayBeTorn = false;
    std::string again;
    m_Bytes.Read(0, kWholeMax, text);
    for (int i = 0; i < kTries; ++i) {
        m_Bytes.Read(0, kWholeMax, again);
        if (again == text) {
            m_Restless = 0;
            return true;
        }
        std::swap(text, again);
    }
    m_Restless = (m_Restless + 1) % kLooks;
    m_MayBeTorn = m_Restless == 0;
    return m_MayBeTorn;
}

// Gives the newest entry of a file that has wrapped its end, or leaves it for a later look.
void CLogFollower::EndNewest(const LogLayout& layout, const std::string& text,
                             std::vector<Region>& regions) {
    const Held held = std::exchange(m_Held, {});
    const std::uint32_t cycle = layout.Wrap ? layout.Wrap->Cycle : 0;
    const bool isSameRound =
        !m_Before.empty() && m_Before.size() <= text.size() && cycle == m_CycleBefore;
    const std::size_t changed = isSameRound ? EndOfChange(m_Before, text) : 0;
    m_CycleBefore = cycle;
    m_Before = text;
    if (!layout.Wrap || regions.empty() || regions.back().Begin != layout.NewBegin) {
        return;
    }
    Region& newest = regions.back();
    const CTraceMemory memory(text);
    const auto place = FindPlaceBack(memory, {newest}, [](const Entry& /*entry*/) { return true; });
    const std::uint64_t begin = place.Offset;
    if (begin == 0 || IsLast(std::string_view(text).substr(begin), begin)) {
        return;
    }
    const bool isSameEntry = held.Begin == begin;
    if (isSameEntry && changed <= begin) {
        m_Held = held;  // nothing came to it since then
    }
    EndOrHold(begin, changed > begin ? changed : m_Held.Changed, text, newest);
}

// `changed`: behind the last byte that the entry at `begin` changed, 0 when that is not known. Then
// it waits for one look, and only its first line is sure.
void CLogFollower::EndOrHold(std::uint64_t begin, std::uint64_t changed, const std::string& text,
                             Region& newest) {
    constexpr std::chrono::seconds kSettled(1);
    const auto now = std::chrono::steady_clock::now();
    const bool isOld = m_Held.Begin == begin;
    const Held held{begin, changed, isOld ? m_Held.Since : now};
    const std::uint64_t end = NextLine(text, changed != 0 ? changed - 1 : begin);
    const bool isSettled = now - held.Since >= kSettled || !MayBeHalf(begin, end, changed);
    const bool isKnown = changed != 0 || isOld;
    m_Held = {};
    if (m_MayBeTorn || !isKnown || !isSettled) {
        m_Held = held;
        newest.End = begin;
    } else if (changed != 0) {
        newest.End = std::min<std::uint64_t>(end, text.size());
        newest.IsOneLine = false;
    } else {
        newest.IsOneLine = true;
    }
}

// A file is taken as one, so that all that is found in it belongs together.
CLogFollower::Result CLogFollower::Look(const Receiver& receive) {
    if (!HasChanged()) {
        return Result::kNothing;
    }
    std::string text;
    if (m_Bytes.Size() <= kWholeMax && !ReadWhole(text)) {
        return Result::kNothing;
    }
    const CTraceMemory memory(text);
    const CTraceBytes& bytes = text.empty() ? static_cast<const CTraceBytes&>(m_Bytes)
                                            : static_cast<const CTraceBytes&>(memory);
    const LogLayout layout = FindLogLayout(bytes);
    std::vector<Region> regions = LogRegions(layout);
    const bool isSameStart = !m_Before.empty() && m_Before.compare(0, layout.WrapOffset, text, 0,
                                                                   layout.WrapOffset) == 0;
    EndNewest(layout, text, regions);
    bool isFound = false;
    const auto place = FindPlaceBack(bytes, regions, [&](const Entry& entry) {
        isFound = IsLast(entry.Bytes, entry.Offset);
        return isFound;
    });
    const bool isLost = !isFound && !m_LastBytes.empty();
    // The start-up part is handed over once.
    const bool isStartKnown = isLost && layout.Wrap && m_LastOffset >= layout.WrapOffset &&
                              isSameStart && regions.size() > 1;
    const CEntryReader::Place begin{isStartKnown ? 1U : 0U, 0};
    CEntryReader reader(bytes, regions, isFound ? place : begin);
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

#include "trace_reader/entry_reader.h"

#include <optional>

#include "trace_reader/ring_layout.h"

namespace trace_reader {

namespace {

constexpr std::size_t kBlock = std::size_t{256} << 10U;
constexpr std::size_t kBackBlock = std::size_t{64} << 10U;
// No writer makes longer ones: a ring of 512 MB takes a tenth of it. What claims to be longer is
// cut, so that a file without entries costs no more memory than this.
constexpr std::size_t kLongestEntry = std::size_t{64} << 20U;
constexpr int kRegionTries = 8;
constexpr std::size_t kWitness = 64;  // bytes of a header that tell it from all others: the time

// The offset behind an entry that begins at `from`; npos when the text does not show its end.
std::size_t EndOfEntry(std::string_view text, std::size_t from) {
    const std::size_t next = NextLine(text, from);
    return next == std::string_view::npos ? next : FindEntry(text, next);
}

// The entries of a part of a region that ends with one; a part that does not begin with the region
// begins anywhere in a line.
std::vector<Entry> EntriesOf(std::string_view text, std::uint64_t base, const Region& region) {
    const std::size_t skip = base == region.Begin ? 0 : std::min(NextLine(text, 0), text.size());
    CEntrySplitter splitter(text.substr(skip), base + skip, region.IsOld);
    std::vector<Entry> entries;
    for (Entry entry; splitter.Next(entry);) {
        entries.push_back(entry);
    }
    return entries;
}

// Where going back through a region is enough; nothing when it never is.
std::optional<std::uint64_t> FindOffsetBack(const CTraceBytes& bytes, const Region& region,
                                            const std::function<bool(const Entry&)>& isEnough) {
    std::string block;
    std::uint64_t end = region.End;
    std::size_t step = kBackBlock;
    while (end > region.Begin) {
        const std::uint64_t base = end - region.Begin > step ? end - step : region.Begin;
        bytes.Read(base, end - base, block);
        const std::vector<Entry> entries = EntriesOf(block, base, region);
        const auto enough = std::find_if(entries.rbegin(), entries.rend(), isEnough);
        if (enough != entries.rend()) {
            return enough->Offset;
        }
        if (base == region.Begin) {
            break;
        }
        // Without an entry: one that is longer than the block, unless there is none at all.
        const bool isLonger = entries.empty() && step < kLongestEntry;
        step = isLonger ? 2 * step : kBackBlock;
        end = isLonger ? end : base;
        if (!entries.empty()) {
            end = entries.front().Offset;
        }
    }
    return std::nullopt;
}

}  // namespace

bool CEntrySplitter::Next(Entry& entry) {
    if (m_Next >= m_Text.size()) {
        return false;
    }
    const std::size_t end = std::min(EndOfEntry(m_Text, m_Next), m_Text.size());
    entry.Offset = m_Offset + m_Next;
    entry.IsOld = m_IsOld;
    entry.Bytes = m_Text.substr(m_Next, end - m_Next);
    entry.Header = *ParseEntryHeader(entry.Bytes);
    m_Next = end;
    return true;
}

CEntryReader::CEntryReader(const CTraceBytes& bytes, std::vector<Region> regions, Place from)
    : m_Bytes(bytes), m_Regions(std::move(regions)) {
    EnterRegion(from.Region, from.Offset);
}

void CEntryReader::EnterRegion(std::size_t region, std::uint64_t offset) {
    m_Region = region;
    m_Buffer.clear();
    m_Next = 0;
    if (region < m_Regions.size()) {
        const Region& entered = m_Regions[region];
        m_Read = offset != 0 ? offset : std::max(entered.Begin, entered.FirstEntry);
        m_RegionTries = entered.FirstTime.empty() ? 0 : kRegionTries;
    }
}

// Reads on; false at the region's end.
bool CEntryReader::Fill() {
    const std::uint64_t end = m_Regions[m_Region].End;
    if (m_Read >= end) {
        return false;
    }
    m_Buffer.erase(0, m_Next);
    m_Next = 0;
    const std::size_t kept = m_Buffer.size();
    // More at a time for an entry that is longer than what was read.
    const std::size_t more = std::clamp(kLongestEntry + kBlock - std::min(kept, kLongestEntry),
                                        kBlock, std::max(kBlock, kept));
    const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(more, end - m_Read));
    m_Buffer.resize(kept + length);
    const std::size_t got = m_Bytes.Read(m_Read, m_Buffer.data() + kept, length);
    m_Buffer.resize(kept + got);
    const std::uint64_t base = m_Read - kept;
    m_Read = got == length ? m_Read + got : end;  // a file that was cut ends here
    if (m_RegionTries > 0 && !IsRegionAsFound()) {
        GoBehindWriter(base);
        return true;
    }
    m_RegionTries = 0;
    const std::size_t first = FindEntry(m_Buffer, 0);
    if (first != std::string::npos) {
        std::string again;
        m_Bytes.Read(base + first, std::min(kWitness, m_Buffer.size() - first), again);
        if (again.empty() || std::string_view(m_Buffer).substr(first, again.size()) != again) {
            DropOverwritten(base);
        }
    }
    return got != 0;
}

bool CEntryReader::IsRegionAsFound() const {
    const Region& region = m_Regions[m_Region];
    std::string now;
    m_Bytes.Read(region.FirstEntry, region.FirstTime.size(), now);
    return now == region.FirstTime;
}

// The writer has come into the region since it was laid out: what is left of it begins behind the
// end marker. Without one it has gone through, or does not pause.
void CEntryReader::GoBehindWriter(std::uint64_t from) {
    Region& region = m_Regions[m_Region];
    const auto newer = FindEntryAt(m_Bytes, region.RoundBegin, region.End);
    const auto marker = FindEndMarker(m_Bytes, region.Begin, region.End, newer ? newer->Time : "");
    const bool isLeft = marker && marker->IsSure && marker->Next && --m_RegionTries > 0;
    region.Begin = isLeft ? marker->Offset + kEndMarker.size() : region.End;
    if (isLeft) {
        region.FirstEntry = marker->Next->Offset;
        region.FirstTime = marker->Next->Time;
    }
    m_Buffer.clear();
    m_Next = 0;
    m_Read = std::max(from, isLeft ? region.FirstEntry : region.End);
    m_Lost += m_Read - from;
}

// Keeps what a second read shows unchanged: the writer has gone through the rest.
void CEntryReader::DropOverwritten(std::uint64_t base) {
    std::string again;
    m_Bytes.Read(base, m_Buffer.size(), again);
    std::size_t changed = m_Buffer.size();
    while (changed > 0 && again.size() == m_Buffer.size() &&
           again[changed - 1] == m_Buffer[changed - 1]) {
        --changed;
    }
    const std::size_t line = NextLine(m_Buffer, changed);
    const std::size_t entry = line == std::string::npos
                                  ? m_Buffer.size()
                                  : std::min(FindEntry(m_Buffer, line), m_Buffer.size());
    m_Lost += entry - m_Next;
    m_Next = entry;
}

// Lets go of what holds no entry: all but the line that may go on; of a longer one the last byte,
// which keeps a line from seeming to begin behind it.
void CEntryReader::SkipText() {
    const std::size_t newline = m_Buffer.rfind('\n');
    if (newline != std::string::npos && newline >= m_Next) {
        m_Next = newline + 1;
    }
    if (m_Buffer.size() - m_Next > kBlock) {
        m_Next = m_Buffer.size() - 1;
    }
}

bool CEntryReader::TakeEntry() {
    do {
        const std::size_t begin = FindEntry(m_Buffer, m_Next);
        if (begin == std::string::npos) {
            SkipText();
            continue;
        }
        m_Next = begin;
        const std::size_t end = EndOfEntry(m_Buffer, begin);
        const bool isLast = end == std::string::npos && m_Read >= m_Regions[m_Region].End;
        const bool isTooLong = m_Buffer.size() - begin > kLongestEntry;
        if (end != std::string::npos || isLast || isTooLong) {
            TakeEntry(std::min({end, m_Buffer.size(), begin + kLongestEntry}), isLast);
            return true;
        }
    } while (Fill());
    return false;
}

// Of the buffer from m_Next to `end`.
void CEntryReader::TakeEntry(std::size_t end, bool isLast) {
    m_Entry.Offset = m_Read - m_Buffer.size() + m_Next;
    m_Entry.Bytes = std::string_view(m_Buffer).substr(m_Next, end - m_Next);
    m_Entry.Header = *ParseEntryHeader(m_Entry.Bytes);
    m_Next = end;
    if (isLast && m_Regions[m_Region].IsOneLine) {
        m_Entry.Bytes = m_Entry.Bytes.substr(0, NextLine(m_Entry.Bytes, 0));
    }
}

const Entry* CEntryReader::Next() {
    while (m_Region < m_Regions.size()) {
        if (TakeEntry()) {
            m_Entry.IsOld = m_Regions[m_Region].IsOld;
            return &m_Entry;
        }
        EnterRegion(m_Region + 1, 0);
    }
    return nullptr;
}

CEntryReader::Place FindPlaceBack(const CTraceBytes& bytes, const std::vector<Region>& regions,
                                  const std::function<bool(const Entry&)>& isEnough) {
    for (std::size_t number = regions.size(); number-- > 0;) {
        if (const auto offset = FindOffsetBack(bytes, regions[number], isEnough)) {
            return {number, *offset};
        }
    }
    return {};
}

}  // namespace trace_reader

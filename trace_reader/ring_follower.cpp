// How a ring is read while it is written.
//
// The writer (trace/debug_ring_buffer.cpp) knows nothing of readers, and the file has no counter
// that it would bump. What can be relied upon is the order in which it changes bytes:
//
// 1. An entry comes into being behind the end marker of the entry before: from the seventeenth byte
//    of the header to the new end marker, and only then do the first sixteen bytes replace the old
//    marker. So for a moment two markers stand, and the first of them counts.
// 2. Those sixteen bytes may be seen half replaced. So for a moment neither marker stands, or only
//    the second one, behind an entry that is not whole yet.
// 3. A wrap fills the rest with dots, writes the log header anew, and copies the entry to the
//    restart position. Meanwhile no marker stands behind the begin entry. The first bytes of that
//    entry replace older ones, and no marker.
// 4. Within a round, entries follow each other upwards. A writer that comes round again goes
//    through the header of an entry before it reaches anything behind that header.
//
// Hence three rules.
// - Nothing is taken that is not before an end marker which was seen *earlier*, or before the dots
//   when the log header has changed since this round's end marker was first seen (3): that is whole
//   from then on. When there is neither, the writer is in the middle of something (2), and the next
//   look is for that.
// - After the bytes were read, the header of the entry handed over last is looked at again. If it
//   stands, the writer has not come round to us, and what was read is what it wrote (4). The header
//   holds the time in milliseconds, thread and text, so that no other entry looks the same there.
// - If it does not stand, we were overtaken: what was read is thrown away, and we go on with the
//   oldest entry that is an eighth of the ring ahead of the writer. Less would be overtaken again
//   at once, and a long entry that is just being copied reaches a tenth of the ring ahead.
//
// A text may hold an end marker. The true one is followed by an older entry, or by none. When a
// clock was set back, none may look true; then one that was there at the look before is taken. One
// that is gone when what follows it is read was the true one: the search goes on from there.
//
// How much was lost is known up to whole rounds, of which nothing is left to count.
//
// The begin entry of a ring is never overwritten. A file that is emptied and written anew at the
// next start of the program therefore shows by its begin entry. tests/trace_reader has a model of
// the writer that goes on between any two bytes of a read, by a seed, and a writer at full speed:
// in a minute it wrote 82,909,000 numbered entries into a ring of 1 MiB; a reader without pauses
// saw 20,276,947 of them and one that looked ten times a second 3,969, none torn, and no number was
// left out without a word.
#include "trace_reader/ring_follower.h"

#include <utility>

namespace trace_reader {

namespace {

constexpr std::size_t kWitness = 128;  // the longest header
constexpr std::size_t kBlock = std::size_t{256} << 10U;
constexpr std::uint64_t kLeadShare = 8;

}  // namespace

CRingFollower::Witness CRingFollower::WitnessAt(std::uint64_t offset) const {
    Witness witness{offset, {}};
    m_Bytes.Read(offset, kWitness, witness.Bytes);
    // What follows the entry changes at any time.
    const std::size_t line = NextLine(witness.Bytes, 0);
    witness.Bytes.resize(std::min(line, witness.Bytes.size()));
    return witness;
}

bool CRingFollower::Stands(const Witness& witness) const {
    std::string now;
    m_Bytes.Read(witness.Offset, witness.Bytes.size(), now);
    return now == witness.Bytes;
}

std::string CRingFollower::ReadHeaderLine() const {
    return WitnessAt(0).Bytes;
}

// A round's first entry replaces another one and no marker, so that its first bytes are not missed
// while they are still those of the older one, which tell an earlier minute. It is not older than
// the header, which was written right before it. Once another entry follows, it is whole anyway.
bool CRingFollower::IsRoundBegun(const std::string& headerLine, std::uint64_t restart,
                                 std::uint64_t end) const {
    std::string first;
    m_Bytes.Read(restart, kEndMarker.size(), first);
    return first >= headerLine.substr(0, kEndMarker.size()) ||
           FindEntryAt(m_Bytes, restart + kEndMarker.size(), end).has_value();
}

// False when there is no ring yet, or no entry in it, or when the writer wraps it just now.
bool CRingFollower::Start(RingLayout* used) {
    const auto begin = FindRingBegin(m_Bytes);
    if (!begin) {
        return false;
    }
    const std::string headerLine = ReadHeaderLine();
    const RingLayout layout = FindRingLayout(m_Bytes);
    if (layout.By != RingLayout::EndedBy::kMarker || layout.End <= begin->Restart ||
        !IsRoundBegun(headerLine, begin->Restart, layout.End)) {
        return false;
    }
    Witness last = WitnessAt(begin->Restart);
    if (m_From == From::kNewest) {
        const Region round{layout.FirstEntry, layout.End, false, false};
        last = WitnessAt(
            FindPlaceBack(m_Bytes, {round}, [](const Entry& /*entry*/) { return true; }).Offset);
    }
    if (headerLine != ReadHeaderLine()) {
        return false;
    }
    m_Begin = *begin;
    m_BeginEntry = WitnessAt(begin->Offset);
    m_Last = std::move(last);
    m_Next = m_SafeEnd = m_From == From::kNewest ? layout.End : begin->Offset;
    // Of an older round, the oldest is wanted too, as far as it is left.
    m_IsBehind = m_From == From::kOldest && layout.IsWrapped;
    m_HeaderLine = headerLine;
    m_IsRoundEnd = false;
    m_Doubtful = 0;
    if (used != nullptr) {
        *used = layout;
    }
    return true;
}

CRingFollower::Result CRingFollower::Look(const Receiver& receive) {
    if (m_BeginEntry.Bytes.empty() && !Start()) {
        return Result::kNothing;
    }
    if (!Stands(m_BeginEntry)) {
        m_BeginEntry = {};
        m_From = From::kOldest;
        return Result::kOtherRing;
    }
    if (m_IsBehind) {
        return Resume();
    }
    if (m_Next == m_SafeEnd && !FindSafeEnd()) {
        return Stands(m_Last) ? Result::kNothing : Resume();
    }
    return Take(receive);
}

// Sets m_SafeEnd to where whole entries end for sure. False when nothing new is known to be whole.
bool CRingFollower::FindSafeEnd() {
    const std::string headerLine = ReadHeaderLine();
    if (!m_HeaderLine.empty() && headerLine != m_HeaderLine) {
        m_SafeEnd = FindTextEnd(m_Bytes, m_Next, m_Bytes.Size());
        m_IsRoundEnd = true;
        GoRound();
        return m_SafeEnd != m_Next;
    }
    return FindEndOfRound(headerLine);
}

// The end marker of a round that goes on.
bool CRingFollower::FindEndOfRound(const std::string& headerLine) {
    const auto marker =
        FindEndMarker(m_Bytes, m_Next, m_Bytes.Size(), m_Last.Bytes.substr(0, kTimeLength));
    if (!marker) {
        m_Doubtful = 0;
        return false;
    }
    std::uint64_t end = marker->Offset;
    if (!marker->IsSure) {
        end = std::exchange(m_Doubtful, end);
        if (end < m_Next) {
            return false;
        }
    }
    if (m_HeaderLine.empty()) {
        if (!IsRoundBegun(headerLine, m_Begin.Restart, end)) {
            return false;
        }
        // The header was complete before the round's first marker; it must be that round's still.
        if (headerLine != ReadHeaderLine()) {
            return false;
        }
        m_HeaderLine = headerLine;
    }
    m_SafeEnd = end;
    return m_SafeEnd != m_Next;
}

void CRingFollower::GoRound() {
    if (m_IsRoundEnd && m_Next == m_SafeEnd) {
        m_IsRoundEnd = false;
        m_Next = m_SafeEnd = m_Begin.Restart;
        m_HeaderLine.clear();
        m_Doubtful = 0;
    }
}

CRingFollower::Witness CRingFollower::MakeWitness(const Entry& entry) {
    const std::string_view bytes = entry.Bytes.substr(0, kWitness);
    return {entry.Offset, std::string(bytes.substr(0, NextLine(bytes, 0)))};
}

// Hands over whole entries, after a look at whether they still were those.
CRingFollower::Result CRingFollower::Take(const Receiver& receive) {
    std::size_t length = std::min<std::uint64_t>(kBlock, m_SafeEnd - m_Next);
    std::size_t whole = 0;
    for (;;) {
        m_Bytes.Read(m_Next, length, m_Buffer);
        const bool isAll = m_Next + length >= m_SafeEnd;
        whole = isAll ? m_Buffer.size() : 0;
        // The last entry of a part may go on behind it.
        CEntrySplitter splitter(m_Buffer, m_Next, false);
        for (Entry entry; splitter.Next(entry);) {
            whole = isAll ? whole : entry.Offset - m_Next;
        }
        if (whole != 0) {
            break;
        }
        if (m_Buffer.size() < length) {
            return Result::kNothing;  // the file was cut
        }
        length = std::min<std::uint64_t>(2 * length, m_SafeEnd - m_Next);
    }
    if (!Stands(m_Last)) {
        return Resume();
    }
    CEntrySplitter splitter(std::string_view(m_Buffer).substr(0, whole), m_Next, false);
    Entry last;
    for (Entry entry; splitter.Next(entry); last = entry) {
        receive(entry);
    }
    if (!last.Bytes.empty() && last.Offset >= m_Begin.Restart) {
        m_Last = MakeWitness(last);
    }
    m_Next += whole;
    GoRound();
    return Result::kEntries;
}

// Overtaken: goes on with the oldest entry that the writer will not reach at once.
CRingFollower::Result CRingFollower::Resume() {
    const std::string headerLine = ReadHeaderLine();
    const RingLayout layout = FindRingLayout(m_Bytes);
    if (layout.By != RingLayout::EndedBy::kMarker ||
        !IsRoundBegun(headerLine, m_Begin.Restart, layout.End) || headerLine != ReadHeaderLine()) {
        return Result::kNothing;
    }
    const std::uint64_t lead = layout.End + layout.Size / kLeadShare;
    const auto old = layout.IsWrapped ? FindEntryAt(m_Bytes, lead, layout.TextEnd) : std::nullopt;
    auto entry = old;
    if (!old && lead > layout.Size) {
        entry = FindEntryAt(m_Bytes, m_Begin.Restart + lead - layout.Size, layout.End);
    }
    const std::uint64_t place = entry ? entry->Offset : m_Begin.Restart;
    Witness witness = WitnessAt(place);
    if (entry && !witness.Bytes.starts_with(entry->Time)) {
        return Result::kNothing;  // a long entry is being copied over it, behind the end marker
    }
    // The writer must not have come there meanwhile.
    const auto marker = FindEndMarker(m_Bytes, layout.End, layout.Size, {});
    if (!marker || (old && marker->Offset >= place) || headerLine != ReadHeaderLine()) {
        return Result::kNothing;
    }
    m_SafeEnd = old ? layout.TextEnd : layout.End;
    m_HeaderLine = headerLine;
    const std::uint64_t round = layout.Size - m_Begin.Restart;
    m_Lost = place > m_Next ? place - m_Next : place + round - m_Next;
    m_Next = place;
    m_IsRoundEnd = old.has_value();
    m_IsBehind = false;
    m_Doubtful = 0;
    m_Last = std::move(witness);
    return Result::kLost;
}

}  // namespace trace_reader

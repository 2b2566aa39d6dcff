#include "trace_reader/ring_layout.h"

#include <algorithm>

#include "trace/entry_format.h"
#include "trace_reader/entry_header.h"
#include "trace_reader/entry_reader.h"

namespace trace_reader {

namespace {

constexpr std::string_view kBeginText = "### Begin of RingBuffer. ###\n";
constexpr std::size_t kSmallBlock = 8192;
constexpr std::size_t kBlock = std::size_t{1} << 20U;
constexpr std::uint64_t kFrontMax = std::uint64_t{8} << 20U;  // no log header is longer
// An entry takes a tenth of its ring at most, or the buffer that short ones are composed in.
constexpr std::uint64_t kEntryShare = 10;

// Where an entry of this ring ends at the latest, if it begins before `offset`.
std::uint64_t LongestReach(const CTraceBytes& bytes, std::uint64_t offset) {
    return offset + bytes.Size() / kEntryShare + 2 * trace::kPrefillLineSize;
}

// The last entry that begins in a text, by its offset there.
std::optional<FoundEntry> LastEntry(std::string_view text) {
    std::size_t lineEnd = text.size();
    while (lineEnd > 0) {
        const std::size_t newline =
            lineEnd < 2 ? std::string_view::npos : text.rfind('\n', lineEnd - 2);
        const std::size_t begin = newline == std::string_view::npos ? 0 : newline + 1;
        if (const auto header = ParseEntryHeader(text.substr(begin))) {
            return FoundEntry{begin, std::string(header->Time), false};
        }
        lineEnd = begin;
    }
    return std::nullopt;
}

// What follows a marker. An entry behind it that is not older than the one before it was written
// after that one: then the marker is text, or was the end when it was read.
FoundMarker JudgeMarker(const CTraceBytes& bytes, std::uint64_t offset, std::string_view lastTime) {
    const std::uint64_t behind = offset + kEndMarker.size();
    FoundMarker marker{offset, true, {}};
    const auto next =
        FindEntryAt(bytes, behind, std::min(bytes.Size(), LongestReach(bytes, behind)));
    if (next && !next->IsPrefill) {
        marker.IsSure = lastTime.empty() || next->Time < lastTime;
        marker.Next = *next;
    }
    return marker;
}

bool IsMarkerAt(const CTraceBytes& bytes, std::uint64_t offset) {
    std::string now;
    bytes.Read(offset, kEndMarker.size(), now);
    return now == kEndMarker;
}

// Where the present round ends, to within a block: by halving, for entries behind its end are older
// than its first one. Nothing when the times do not tell.
struct EndRange {
    std::uint64_t Low = 0;   // an entry of this round
    std::uint64_t High = 0;  // behind its last one
};
std::optional<EndRange> FindEndRange(const CTraceBytes& bytes,
                                     const std::optional<FoundEntry>& first) {
    const std::uint64_t size = bytes.Size();
    if (!first || first->IsPrefill || !IsReadableTime(first->Time)) {
        return std::nullopt;
    }
    EndRange range{first->Offset, size};
    while (range.High - range.Low > kBlock) {
        const std::uint64_t middle = range.Low + (range.High - range.Low) / 2;
        const auto entry =
            FindEntryAt(bytes, middle, std::min(range.High, LongestReach(bytes, middle)));
        if (!entry || entry->IsPrefill || entry->Time < first->Time) {
            range.High = middle;
        } else {
            range.Low = entry->Offset;
        }
    }
    return range;
}

// Whether a line begins with an end marker that an entry's first bytes replace just now.
bool IsHalfReplaced(std::string_view line) {
    std::size_t ofMarker = 0;
    for (std::size_t i = 0; i < kEndMarker.size(); ++i) {
        if (i < line.size() && line[i] == kEndMarker[i]) {
            ++ofMarker;
        } else if (i >= line.size() || !IsOfTime(line[i], i)) {
            return false;
        }
    }
    return ofMarker != 0 && ofMarker != kEndMarker.size();
}

// A part of a file in which an end marker is searched, from the begin of a line to `To`.
struct MarkerSearch {
    std::string_view Text;
    std::uint64_t Base = 0;  // of the text
    std::uint64_t From = 0;
    std::uint64_t To = 0;
};

// The end is not behind an entry whose first bytes are still to come: where those will stand, else
// `end`. They follow the entry `last`, or the place where the search began.
std::uint64_t EndBeforeHalfEntry(const CTraceBytes& bytes, std::uint64_t last, std::uint64_t end) {
    std::string text;
    bytes.Read(last, end - last, text);
    for (std::size_t at = 0; at < text.size(); at = NextLine(text, at)) {
        if (IsHalfReplaced(std::string_view(text).substr(at))) {
            return last + at;
        }
    }
    return end;
}

// The first sure marker, or the first one that has vanished since, else the last one. `last`
// becomes the last entry before it, or of the text.
std::optional<FoundMarker> FindMarkerIn(const CTraceBytes& bytes, const MarkerSearch& search,
                                        FoundEntry& last) {
    const auto [text, base, from, to] = search;
    const auto learn = [&last, start = base](std::string_view before) {
        if (auto entry = LastEntry(before)) {
            entry->Offset += start;
            last = std::move(*entry);
        }
    };
    std::optional<FoundMarker> marker;
    for (std::size_t at = text.find(kEndMarker); at != std::string_view::npos;
         at = text.find(kEndMarker, at + 1)) {
        if (base + at >= to || (base + at != from && (at == 0 || text[at - 1] != '\n'))) {
            continue;
        }
        learn(text.substr(0, at));
        marker = JudgeMarker(bytes, base + at, last.Time);
        if (marker->IsSure) {
            marker->Offset = EndBeforeHalfEntry(bytes, last.Offset, marker->Offset);
            return marker;
        }
        if (!IsMarkerAt(bytes, base + at)) {
            return marker;
        }
    }
    learn(text);
    return marker;
}

// Without a marker: behind the last entry, from `begin` on, before one that is older.
void EndAtTimeDrop(const CTraceBytes& bytes, std::uint64_t begin, RingLayout& layout) {
    std::string last;
    layout.End = layout.OldBegin = layout.TextEnd;
    CEntryReader entries(bytes, {{begin, layout.TextEnd, false, false}});
    while (const Entry* const entry = entries.Next()) {
        const bool isPrefill = IsPrefillLine(entry->Bytes);
        if (isPrefill || entry->Header.Time < last) {
            layout.By = RingLayout::EndedBy::kTimeDrop;
            layout.End = layout.OldBegin = entry->Offset;
            layout.IsWrapped = !isPrefill;
            return;
        }
        last = entry->Header.Time;
    }
}

bool EndsWithDots(const CTraceBytes& bytes, const RingLayout& layout) {
    std::string rest;
    bytes.Read(layout.TextEnd, kSmallBlock, rest);
    return !rest.empty() && rest.find_first_not_of('.') == std::string::npos;
}

}  // namespace

std::optional<RingBegin> FindRingBegin(const CTraceBytes& bytes) {
    constexpr std::size_t kStep = 1024;
    std::string block;
    for (std::uint64_t base = 0; base < kFrontMax; base += kBlock) {
        bytes.Read(base, kBlock + kStep, block);
        for (std::size_t at = 0; at < std::min(block.size(), kBlock); at += kStep) {
            const std::string_view text = std::string_view(block).substr(at);
            const auto header = ParseEntryHeader(text);
            if (header && text.substr(header->Length).starts_with(kBeginText)) {
                return RingBegin{base + at, base + at + header->Length + kBeginText.size()};
            }
        }
        if (block.size() < kBlock) {
            break;
        }
    }
    return std::nullopt;
}

bool LooksLikeRing(const CTraceBytes& bytes) {
    std::string front;
    bytes.Read(0, kBlock, front);
    return front.find(std::string("\n").append(kEndMarker)) != std::string::npos ||
           IsPrefillLine(front);
}

std::optional<FoundEntry> FindEntryAt(const CTraceBytes& bytes, std::uint64_t offset,
                                      std::uint64_t limit) {
    // From the byte before, to see whether a line begins here.
    std::uint64_t base = offset == 0 ? 0 : offset - 1;
    std::string block;
    std::size_t step = kSmallBlock;
    bool isLineBegin = offset == 0;
    while (base < limit) {
        bytes.Read(base, step, block);
        std::size_t at = isLineBegin ? 0 : NextLine(block, 0);
        at = at == std::string::npos ? at : FindEntry(block, at);
        if (at != std::string::npos) {
            FoundEntry found{base + at, std::string(block, at, kTimeLength), false};
            if (block.size() - at < trace::kPrefillLineSize) {
                bytes.Read(found.Offset, trace::kPrefillLineSize, block);
                at = 0;
            }
            found.IsPrefill = IsPrefillLine(std::string_view(block).substr(at));
            return found.Offset < limit ? std::optional(found) : std::nullopt;
        }
        if (block.size() < step) {
            break;
        }
        // A header that the end of the block cuts is met again.
        base += block.size() - trace::kHeaderSize;
        isLineBegin = false;
        step = std::min(2 * step, kBlock);
    }
    return std::nullopt;
}

std::optional<FoundMarker> FindEndMarker(const CTraceBytes& bytes, std::uint64_t from,
                                         std::uint64_t to, std::string lastTime) {
    std::optional<FoundMarker> last;
    FoundEntry lastEntry{from, std::move(lastTime), false};
    std::size_t step = kSmallBlock;
    std::string block;
    std::uint64_t base = from;
    while (base < to) {
        bytes.Read(base, step, block);
        auto found = FindMarkerIn(bytes, {block, base, from, to}, lastEntry);
        if (found && found->IsSure) {
            return found;
        }
        if (found && !IsMarkerAt(bytes, found->Offset)) {
            // The writer has gone on since the block was read. What it wrote begins here.
            base = from = found->Offset;
            step = kSmallBlock;
            continue;
        }
        last = found ? found : last;
        if (block.size() < step) {
            break;
        }
        base +=
            block.size() - kEndMarker.size();  // one that the end of the block cuts is met again
        step = std::min(2 * step, kBlock);
    }
    return last;
}

std::uint64_t FindTextEnd(const CTraceBytes& bytes, std::uint64_t begin, std::uint64_t end) {
    std::string block;
    std::size_t step = kSmallBlock;
    while (end > begin) {
        const std::uint64_t base = end - begin > step ? end - step : begin;
        bytes.Read(base, end - base, block);
        if (const std::size_t newline = block.rfind('\n'); newline != std::string::npos) {
            return base + newline + 1;
        }
        end = base;
        step = std::min(2 * step, kBlock);
    }
    return begin;
}

RingLayout FindRingLayout(const CTraceBytes& bytes) {
    RingLayout layout;
    layout.Size = bytes.Size();
    layout.Begin = FindRingBegin(bytes);
    layout.FirstEntry = layout.Begin ? layout.Begin->Restart : 0;
    layout.TextEnd = FindTextEnd(bytes, layout.FirstEntry, layout.Size);
    layout.First = FindEntryAt(bytes, layout.FirstEntry, layout.Size);
    const auto range = FindEndRange(bytes, layout.First);
    std::optional<FoundMarker> marker;
    if (range) {
        const std::uint64_t reach = std::min(layout.Size, LongestReach(bytes, range->High));
        marker = FindEndMarker(bytes, range->Low, reach, {});
    }
    if (!marker || !marker->IsSure) {
        marker = FindEndMarker(bytes, layout.FirstEntry, layout.Size, {});
    }
    if (marker) {
        layout.By = RingLayout::EndedBy::kMarker;
        layout.End = marker->Offset;
        layout.OldBegin = marker->Offset + kEndMarker.size();
        layout.TextEnd = FindTextEnd(bytes, layout.FirstEntry, layout.Size);  // of that round
        layout.Old = marker->Next;
        layout.IsWrapped = layout.Old.has_value();
        return layout;
    }
    EndAtTimeDrop(bytes, range ? range->Low : layout.FirstEntry, layout);
    if (layout.By == RingLayout::EndedBy::kNothing && EndsWithDots(bytes, layout)) {
        layout.By = RingLayout::EndedBy::kFill;
    }
    return layout;
}

}  // namespace trace_reader

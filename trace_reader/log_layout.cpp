#include "trace_reader/log_layout.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>

#include "trace_reader/entry_header.h"

namespace trace_reader {

namespace {

constexpr std::string_view kWrapText = "------ WRAP ----- Cycle=";
constexpr std::size_t kBlock = std::size_t{1} << 20U;
constexpr std::size_t kLineMax = 128;  // longer than any wrap line

bool TakeText(std::string_view& text, std::string_view expected) {
    if (!text.starts_with(expected)) {
        return false;
    }
    text.remove_prefix(expected.size());
    return true;
}

template <typename Number>
bool TakeNumber(std::string_view& text, Number& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return error == std::errc();
}

// The wrap line at the offset that it tells itself, else the first one of the file.
void FindWrapLine(const CTraceBytes& bytes, LogLayout& layout) {
    const std::string searched(kWrapText);
    std::string block;
    std::uint64_t base = 0;
    while (base < layout.Size) {
        bytes.Read(base, kBlock, block);
        const std::string_view text = block;
        for (std::size_t at = text.find(searched); at != std::string_view::npos;
             at = text.find(searched, at + 1)) {
            const bool isLineBegin = base + at == 0 || (at > 0 && text[at - 1] == '\n');
            const auto line = isLineBegin ? ParseWrapLine(text.substr(at)) : std::nullopt;
            const bool isOwn = line && line->InitEnd == base + at;
            if (line && (isOwn || !layout.Wrap)) {
                layout.Wrap = line;
                layout.WrapOffset = base + at;
            }
            // The line of a wrap during the start stands at the beginning, perhaps before another.
            if (isOwn && line->InitEnd != 0) {
                return;
            }
        }
        if (block.size() < kBlock) {
            return;
        }
        base += block.size() - kLineMax;
    }
}

// Where times go back behind the wrap line.
void FindNewest(const CTraceBytes& bytes, LogLayout& layout) {
    std::string block;
    std::string last;
    std::uint64_t newestLineEnd = layout.NewBegin;
    std::uint64_t base = layout.NewBegin;
    while (base < layout.Size) {
        bytes.Read(base, kBlock, block);
        const std::string_view text = block;
        std::size_t at = FindEntry(text, 0);
        for (; at != std::string_view::npos; at = FindEntry(text, at)) {
            const std::string_view time = text.substr(at, kTimeLength);
            if (IsReadableTime(time) && time < last) {
                layout.NewEnd = newestLineEnd;
                layout.OldBegin = base + at;
                return;
            }
            last = IsReadableTime(time) ? time : std::string_view(last);
            const std::size_t next = NextLine(text, at);
            if (next == std::string_view::npos) {
                break;
            }
            newestLineEnd = base + next;
            at = next;
        }
        if (block.size() < kBlock) {
            return;
        }
        // On with the line that the end of the block cuts.
        const std::size_t cut = text.rfind('\n');
        base += cut == std::string_view::npos ? block.size() : cut + 1;
    }
}

// Behind the line that passes the limit: what follows are ends of last entries of earlier rounds.
std::uint64_t FindRoundEnd(const CTraceBytes& bytes, const LogLayout& layout) {
    if (layout.Wrap->InitEnd != layout.WrapOffset || layout.Wrap->Limit < layout.NewBegin ||
        layout.Wrap->Limit >= layout.Size) {
        return layout.Size;
    }
    std::string rest;
    bytes.Read(layout.Wrap->Limit, kBlock, rest);
    const std::size_t end = NextLine(rest, 0);
    return end == std::string::npos ? layout.Size : layout.Wrap->Limit + end;
}

}  // namespace

std::optional<WrapLine> ParseWrapLine(std::string_view text) {
    const std::size_t newline = text.substr(0, kLineMax).find('\n');
    if (newline == std::string_view::npos) {
        return std::nullopt;
    }
    WrapLine line;
    line.Length = newline + 1;
    std::string_view rest = text.substr(0, newline);
    std::int32_t cycle = 0;  // shown as a signed number
    std::uint32_t current = 0;
    const bool isWhole = TakeText(rest, kWrapText) && TakeNumber(rest, cycle) &&
                         TakeText(rest, ", CntInitEnd=") && TakeNumber(rest, line.InitEnd) &&
                         TakeText(rest, ", CurrentByteCnt=") && TakeNumber(rest, current) &&
                         TakeText(rest, " (MaxCnt=") && TakeNumber(rest, line.Limit) && rest == ")";
    line.Cycle = static_cast<std::uint32_t>(cycle);
    return isWhole ? std::optional(line) : std::nullopt;
}

LogLayout FindLogLayout(const CTraceBytes& bytes) {
    LogLayout layout;
    layout.Size = bytes.Size();
    layout.WrapOffset = layout.NewBegin = layout.NewEnd = layout.Size;
    layout.OldBegin = layout.TextEnd = layout.Size;
    FindWrapLine(bytes, layout);
    if (layout.Wrap) {
        layout.NewBegin = layout.WrapOffset + layout.Wrap->Length;
        layout.TextEnd = FindRoundEnd(bytes, layout);
        FindNewest(bytes, layout);
        layout.NewEnd = std::min(layout.NewEnd, layout.TextEnd);
    }
    return layout;
}

}  // namespace trace_reader

#include "trace_reader/entry_header.h"

#include <algorithm>

#include "trace/entry_format.h"

namespace trace_reader {

namespace {

constexpr std::string_view kTimeLetters = "yyyy-mm-dd hh:mm:ss.mmm";
constexpr std::size_t kSourceWidth = 13;
constexpr std::size_t kMemoryWidth = 8;
constexpr std::string_view kMemoryUnit = " KB !";

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsTimeText(std::string_view text) {
    for (std::size_t i = 0; i < kTimeLength; ++i) {
        const bool isLetter = kTimeLetters[i] >= 'a';
        if (isLetter ? !IsDigit(text[i]) : text[i] != kTimeLetters[i]) {
            return text.substr(0, kTimeLength) == kTimeLetters;
        }
    }
    return true;
}

// Takes "    4312 KB !" off the text, and returns the digits; empty when it is not there.
std::string_view TakeMemory(std::string_view& text) {
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos || !IsDigit(text[first])) {
        return {};
    }
    std::size_t end = first;
    while (end < text.size() && IsDigit(text[end])) {
        ++end;
    }
    if (end < kMemoryWidth || text.substr(end, kMemoryUnit.size()) != kMemoryUnit) {
        return {};
    }
    const std::string_view digits = text.substr(first, end - first);
    text.remove_prefix(end + kMemoryUnit.size());
    return digits;
}

}  // namespace

bool IsOfTime(char c, std::size_t place) {
    return c == kTimeLetters[place] || (kTimeLetters[place] >= 'a' && IsDigit(c));
}

std::optional<EntryHeader> ParseEntryHeader(std::string_view text) {
    constexpr std::size_t kThreadBegin = kTimeLength + 2;
    constexpr std::size_t kThreadLength = 8;
    constexpr std::size_t kThreadEnd = kThreadBegin + kThreadLength;
    constexpr std::size_t kSourceBegin = kThreadEnd + 2;
    if (text.size() < kSourceBegin + kSourceWidth + 1 || text[4] != '-' || !IsTimeText(text) ||
        text[kTimeLength] != ' ' || text[kTimeLength + 1] != '[' || text[kThreadEnd] != ']' ||
        text[kThreadEnd + 1] != ' ') {
        return std::nullopt;
    }
    EntryHeader header;
    header.Time = text.substr(0, kTimeLength);
    header.Thread = text.substr(kThreadBegin, kThreadLength);
    if (header.Thread.find_first_not_of("0123456789ABCDEF") != std::string_view::npos) {
        return std::nullopt;
    }
    // A header ends at its limit, however long the source's name is.
    std::string_view rest = text.substr(0, trace::kHeaderSize).substr(kSourceBegin);
    header.Memory = TakeMemory(rest);
    // The name is padded, and longer ones end with one blank.
    const std::size_t blank = rest.find(' ', std::min(kSourceWidth, rest.size()));
    const std::size_t end = std::min(blank, rest.size());
    header.Source = rest.substr(0, end);
    if (header.Source.find('\n') != std::string_view::npos || rest.size() < kSourceWidth) {
        return std::nullopt;
    }
    header.Source = header.Source.substr(0, header.Source.find_last_not_of(' ') + 1);
    const auto before = static_cast<std::size_t>(rest.data() - text.data());
    header.Length = before + end + (blank != std::string_view::npos ? 1 : 0);
    return header;
}

bool IsPrefillLine(std::string_view text) {
    const std::string_view line = text.substr(0, trace::kPrefillLineSize);
    if (line.size() < trace::kPrefillLineSize || line.back() != '\n') {
        return false;
    }
    const auto header = ParseEntryHeader(line);
    return header && line.find_first_not_of('_', header->Length) == line.size() - 1;
}

std::size_t NextLine(std::string_view text, std::size_t from) {
    const std::size_t newline = text.find('\n', from);
    return newline == std::string_view::npos ? newline : newline + 1;
}

std::size_t FindEntry(std::string_view text, std::size_t from) {
    while (from < text.size() && !ParseEntryHeader(text.substr(from))) {
        from = NextLine(text, from);
    }
    return from < text.size() ? from : std::string_view::npos;
}

}  // namespace trace_reader

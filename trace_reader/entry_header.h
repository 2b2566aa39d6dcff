// The header of a trace entry, taken apart; and where entries begin in a text.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace trace_reader {

inline constexpr std::size_t kTimeLength = 23;  // "yyyy-mm-dd hh:mm:ss.mmm"
inline constexpr std::string_view kEndMarker = "## TRACE-END ##\n";

// All views point into the text that was parsed.
struct EntryHeader {
    std::string_view Time;    // those letters themselves when the writer could not format it
    std::string_view Thread;  // eight upper-case hexadecimal digits
    std::string_view Memory;  // resident size in KB, as digits; empty without the memory column
    std::string_view Source;  // without the blanks that pad it
    std::size_t Length = 0;   // of the whole header; the entry's text follows
};

// Nothing when the text does not begin with an entry's header.
[[nodiscard]] std::optional<EntryHeader> ParseEntryHeader(std::string_view text);

// Whether such a time can be compared: times of entries are compared as texts.
[[nodiscard]] inline bool IsReadableTime(std::string_view time) {
    return !time.empty() && time.front() != 'y';
}

// Whether the time of an entry may have such a byte at that place, below kTimeLength.
[[nodiscard]] bool IsOfTime(char c, std::size_t place);

// Whether the text begins with a line that fills a ring before entries are written.
[[nodiscard]] bool IsPrefillLine(std::string_view text);

// The offset of the first line that begins with an entry's header, at or behind `from`, which is
// the begin of a line; npos when there is none.
[[nodiscard]] std::size_t FindEntry(std::string_view text, std::size_t from);

// The begin of the line behind the first newline at or behind `from`; npos when there is none.
[[nodiscard]] std::size_t NextLine(std::string_view text, std::size_t from);

}  // namespace trace_reader

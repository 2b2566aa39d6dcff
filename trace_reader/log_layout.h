// Where things stand in a log file: the start-up part, the wrap line, and the newest entry.
//
// A log file has no end marker, and is not cut at a wrap. After a wrap the newest entry is the last
// one before times go back; the rest of the line that it overwrote follows it. A clock that was set
// back looks the same.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "trace_reader/trace_bytes.h"

namespace trace_reader {

// What the line says that a wrap leaves.
struct WrapLine {
    std::uint32_t Cycle = 0;    // how often the file has wrapped
    std::uint32_t InitEnd = 0;  // bytes of the start-up part
    std::uint32_t Limit = 0;    // the entry that takes the file past this is a round's last one
    std::size_t Length = 0;     // of the line, with its newline
};
[[nodiscard]] std::optional<WrapLine> ParseWrapLine(std::string_view text);

struct LogLayout {
    std::optional<WrapLine> Wrap;
    std::uint64_t Size = 0;
    std::uint64_t WrapOffset = 0;  // of the wrap line; without one the size
    std::uint64_t NewBegin = 0;    // behind the wrap line
    std::uint64_t NewEnd = 0;      // behind the newest entry
    std::uint64_t OldBegin = 0;    // the oldest entry behind it; the size when there is none
    std::uint64_t TextEnd = 0;     // behind a round's last entry; what follows is left of others
};
[[nodiscard]] LogLayout FindLogLayout(const CTraceBytes& bytes);

}  // namespace trace_reader

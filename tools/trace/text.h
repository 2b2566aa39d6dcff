// An entry of a trace as it is printed: plain, coloured, or as JSON.
#pragma once

#include <string>
#include <string_view>

#include "inventory/json_text.h"
#include "trace_reader/entry_reader.h"

namespace tools {

struct TraceStyle {
    bool AsJson = false;
    bool IsRaw = false;  // as in the file; else control bytes escaped and further lines indented
    bool IsColoured = false;
};

// One line, or as many as the text has.
[[nodiscard]] std::string FormatTraceEntry(const trace_reader::Entry& entry, std::string_view file,
                                           const TraceStyle& style);

// A remark between entries: a line "-- TEXT --", or an object with "note" and "file".
[[nodiscard]] std::string FormatTraceNote(std::string_view note, std::string_view file,
                                          const TraceStyle& style);

// Sets `field` to the text with U+FFFD for each byte that is not UTF-8, and then "<field>_hex" to
// its bytes.
void SetTraceText(json_text::Json& object, const std::string& field, std::string_view text);

}  // namespace tools

#include "tools/trace/text.h"

#include <charconv>

#include "base/text_safety.h"

namespace tools {

using json_text::Json;
using trace_reader::Entry;

namespace {

constexpr std::size_t kShownMax = std::size_t{16} << 20U;  // of an entry's text

constexpr std::string_view kDim = "\x1b[2m";
constexpr std::string_view kBold = "\x1b[1m";
constexpr std::string_view kYellow = "\x1b[33m";
constexpr std::string_view kPlain = "\x1b[0m";

std::string DumpLine(const Json& json) {
    return json.dump(-1, ' ', true) + "\n";
}

std::string FormatJson(const Entry& entry, std::string_view file) {
    Json json;
    if (trace_reader::IsReadableTime(entry.Header.Time)) {
        json["time"] = entry.Header.Time;
    } else {
        json["time"] = nullptr;
    }
    json["thread"] = entry.Header.Thread;
    SetTraceText(json, "source", entry.Header.Source);
    if (!entry.Header.Memory.empty()) {
        std::uint64_t kilobytes = 0;
        const std::string_view digits = entry.Header.Memory;
        (void)std::from_chars(digits.data(), digits.data() + digits.size(), kilobytes);
        json["memory_kb"] = kilobytes;
    }
    SetTraceText(json, "text", entry.Text().substr(0, kShownMax));
    if (entry.Text().size() > kShownMax) {
        json["left_out"] = entry.Text().size() - kShownMax;
    }
    SetTraceText(json, "file", file);
    json["offset"] = entry.Offset;
    if (entry.IsOld) {
        json["before_wrap"] = true;
    }
    return DumpLine(json);
}

std::string FormatHeader(const Entry& entry, bool isColoured) {
    std::string header = text::EscapeControls(entry.Bytes.substr(0, entry.Header.Length));
    const std::string source = text::EscapeControls(entry.Header.Source);
    const std::size_t at = source.empty() ? std::string::npos : header.rfind(source);
    if (!isColoured || at == std::string::npos) {
        return header;
    }
    return std::string(kDim)
        .append(header, 0, at)
        .append(kPlain)
        .append(kBold)
        .append(source)
        .append(kPlain)
        .append(header, at + source.size());
}

}  // namespace

void SetTraceText(Json& object, const std::string& field, std::string_view text) {
    object[field] = text::ReplaceMalformed(text);
    if (!text::IsUtf8(text)) {
        object[field + "_hex"] = text::Hex(text);
    }
}

std::string FormatTraceEntry(const Entry& entry, std::string_view file, const TraceStyle& style) {
    if (style.AsJson) {
        return FormatJson(entry, file);
    }
    if (style.IsRaw) {
        std::string bytes(entry.Bytes);
        return bytes.ends_with('\n') ? bytes : bytes + '\n';
    }
    std::string out = FormatHeader(entry, style.IsColoured);
    std::string_view rest = entry.Text().substr(0, kShownMax);
    for (bool isFirst = true; isFirst || !rest.empty(); isFirst = false) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        // Indented, so that no line of a text passes for an entry.
        out.append(isFirst ? "" : "    ").append(text::EscapeControls(line)) += '\n';
    }
    if (entry.Text().size() > kShownMax) {
        out += "    (" + std::to_string(entry.Text().size() - kShownMax) + " bytes left out)\n";
    }
    return out;
}

std::string FormatTraceNote(std::string_view note, std::string_view file, const TraceStyle& style) {
    if (style.AsJson) {
        Json json;
        json["note"] = note;
        SetTraceText(json, "file", file);
        return DumpLine(json);
    }
    const std::string line = "-- " + text::EscapeControls(file) + ": " + std::string(note) + " --";
    return (style.IsColoured ? std::string(kYellow) + line + std::string(kPlain) : line) + "\n";
}

}  // namespace tools

#include "trace_reader/header_settings.h"

#include <array>
#include <charconv>
#include <optional>

namespace trace_reader {

namespace {

constexpr std::string_view kEndOfHeader = "# End of header.";
constexpr std::string_view kCommandLine = " Command Line Options:";

struct Title {
    std::string_view Line;
    std::string_view Shown;
};
constexpr std::array<Title, 4> kTitles = {
    {{"Oskaria Environment:", "Environment"},
     {"Oskaria Configuration File:", "Configuration File"},
     {"Debug values from ini file :", "Trace Settings of the Files"},
     {"Internal Debug values      :", "Trace Settings in Force"}}};

std::optional<std::string_view> TitleOf(std::string_view line) {
    if (line.ends_with(kCommandLine)) {
        return "Command Line";
    }
    for (const Title& title : kTitles) {
        if (line == title.Line) {
            return title.Shown;
        }
    }
    return std::nullopt;
}

std::string_view Trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(' ');
    return begin == std::string_view::npos
               ? std::string_view()
               : text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
}

// "NAME=value", "Name   : value", "argv[0] = "value""
HeaderSection::Setting ParseSetting(std::string_view line) {
    const std::size_t split = line.find_first_of("=:");
    const std::string_view value =
        split == std::string_view::npos ? std::string_view() : line.substr(split + 1);
    return {std::string(Trimmed(line.substr(0, split))),
            std::string(value.starts_with(' ') ? value.substr(1) : value)};
}

}  // namespace

std::uint32_t RingSizeOf(std::string_view value) {
    std::int32_t size = 0;
    (void)std::from_chars(value.data(), value.data() + value.size(), size);
    return static_cast<std::uint32_t>(size);
}

std::vector<HeaderSection> ReadHeaderSettings(const TraceFile& file) {
    std::vector<HeaderSection> sections;
    CEntryReader entries = file.FrontEntries();
    while (const Entry* const entry = entries.Next()) {
        const std::string_view text = entry->Text();
        if (text.substr(0, kEndOfHeader.size()) == kEndOfHeader) {
            return sections;
        }
        if (const auto title = TitleOf(text)) {
            // A command line is written once more when it becomes known.
            if (*title == "Command Line") {
                sections.clear();
            }
            sections.push_back({std::string(*title), {}});
        } else if (!sections.empty()) {
            sections.back().Settings.push_back(ParseSetting(text));
        }
    }
    return {};
}

}  // namespace trace_reader

#include "tools/doctor/trace_section.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>

#include "trace/trace_config_text.h"

namespace doctor {

namespace {

constexpr std::string_view kBlanks = " \t\v\f\r";

std::string_view Trim(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(kBlanks);
    return begin == std::string_view::npos
               ? std::string_view()
               : text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

std::string Quoted(std::string_view text) {
    constexpr std::size_t kLongest = 60;
    return text.size() > kLongest ? "\"" + std::string(text.substr(0, kLongest)) + "...\""
                                  : "\"" + std::string(text) + "\"";
}

struct Line {
    std::string_view Text;   // without blanks around it
    std::string_view Name;   // before the "="; the whole text when there is none
    std::string_view Value;  // behind it
    std::size_t Begin;       // of the line, in the section
    std::size_t End;         // of the line, in the section
};

std::vector<Line> SplitLines(std::string_view section) {
    std::vector<Line> lines;
    for (std::size_t begin = 0; begin < section.size();) {
        const std::size_t end = std::min(section.find('\n', begin), section.size());
        const std::string_view text = Trim(section.substr(begin, end - begin));
        const std::size_t equals = text.find('=');
        lines.push_back(
            {text, Trim(text.substr(0, equals)),
             equals == std::string_view::npos ? std::string_view() : Trim(text.substr(equals + 1)),
             begin, end});
        begin = end + 1;
    }
    return lines;
}

bool IsDirectory(const trace::SettingName& name) {
    return std::string_view(name.Key) == trace::kDirectory.Key;
}

// In C notation, as the daemon reads it, and nothing behind it.
std::optional<std::uint32_t> WholeNumber(std::string_view text) {
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        base = 16;
        text.remove_prefix(2);
    } else if (text.size() > 1 && text.front() == '0') {
        base = 8;
    }
    std::uint32_t number = 0;
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, number, base);
    return error == std::errc() && end == last ? std::optional(number) : std::nullopt;
}

void JudgeNumber(std::string_view section, const trace::SettingName& name, std::string_view value,
                 std::vector<SectionProblem>& problems) {
    const std::string key = name.Key;
    const std::string readAs =
        " reads as " + std::to_string(trace::FindNumber(section, key).value_or(0));
    const auto number = WholeNumber(value);
    if (!number) {
        problems.push_back(
            {key + ": " + Quoted(value) + " is no number and" + readAs, "write a number"});
    } else if (*number == trace::kSettingUnset) {
        problems.push_back(
            {key + ": this number means that nothing is set", "write a smaller one"});
    } else if (value.size() > 1 && value.front() == '0' && *number > 7 && value[1] != 'x' &&
               value[1] != 'X') {
        problems.push_back({key + ": " + Quoted(value) + " is octal and" + readAs,
                            "write it without the leading 0"});
    }
}

// Of the value that is read for the key, wherever it was found.
void JudgeValue(std::string_view section, const trace::SettingName& name, const Line& line,
                std::vector<SectionProblem>& problems) {
    const std::string key = name.Key;
    const auto value = trace::FindValue(section, key, section.size());
    if (!value) {
        return;
    }
    const std::size_t limit = IsDirectory(name) ? trace::kDirectoryLimit - 1 : trace::kNumberLimit;
    if (static_cast<std::size_t>(value->data() - section.data()) > line.End) {
        problems.push_back(
            {key + " has no value, so the next line's text counts: " + Quoted(*value),
             "remove the line or give it a value"});
    } else if (value->size() > limit) {
        problems.push_back({key + ": the value is longer than " + std::to_string(limit) +
                                " characters and is cut there",
                            "shorten it"});
    } else if (IsDirectory(name)) {
        if (!value->starts_with('/')) {
            problems.push_back({key + ": " + Quoted(*value) + " is no absolute path",
                                "write one that begins with /"});
        }
    } else {
        JudgeNumber(section, name, Trim(*value), problems);
    }
}

void JudgeKey(std::string_view section, const std::vector<Line>& lines,
              const trace::SettingName& name, std::vector<SectionProblem>& problems) {
    const std::string key = name.Key;
    const std::size_t found = section.find(key);
    if (found == std::string_view::npos) {
        return;
    }
    const auto line =
        std::find_if(lines.begin(), lines.end(), [found](const Line& l) { return found < l.End; });
    const auto isSetting = [&key](const Line& l) {
        return l.Name == key && l.Text.size() > key.size();
    };
    const auto meant = std::find_if(line, lines.end(), isSetting);
    if (line == lines.end()) {
        return;
    }
    if (!isSetting(*line)) {
        const std::string what = key + " is found inside " + Quoted(line->Text);
        problems.push_back(
            meant != lines.end()
                ? SectionProblem{what + ", which counts instead of " + Quoted(meant->Text),
                                 "remove that line, or move it behind the setting"}
                : SectionProblem{what + ", which is read as a setting: there are no comments",
                                 "remove that line"});
    } else if (const auto again = std::find_if(line + 1, lines.end(), isSetting);
               again != lines.end()) {
        problems.push_back({key + " is set twice; " + Quoted(line->Text) + " counts",
                            "remove " + Quoted(again->Text)});
    }
    JudgeValue(section, name, *line, problems);
}

}  // namespace

std::vector<SectionProblem> FindSectionProblems(std::string_view section,
                                                std::span<const trace::SettingName> names) {
    std::vector<SectionProblem> problems;
    const std::vector<Line> lines = SplitLines(section);
    for (const trace::SettingName& name : names) {
        JudgeKey(section, lines, name, problems);
    }
    for (const Line& line : lines) {
        const auto isIn = [&line](const trace::SettingName& name) {
            return line.Text.find(name.Key) != std::string_view::npos;
        };
        const bool isRemark =
            line.Text.empty() || line.Text.starts_with(';') || line.Text.starts_with('#');
        if (!isRemark && std::none_of(names.begin(), names.end(), isIn)) {
            problems.push_back({Quoted(line.Text) + " sets nothing in this section",
                                "check the name's spelling, case and section"});
        }
    }
    return problems;
}

std::string ShowSettings(std::string_view section, std::span<const trace::SettingName> names) {
    std::string text;
    for (const trace::SettingName& name : names) {
        std::string value;
        if (IsDirectory(name)) {
            const auto found = trace::FindValue(section, name.Key, trace::kDirectoryLimit - 1);
            value = found ? std::string(*found) : "";
        } else if (const auto number = trace::FindNumber(section, name.Key)) {
            value = std::to_string(*number);
        }
        if (!value.empty()) {
            text += (text.empty() ? "" : ", ") + std::string(name.Key) + "=" + value;
        }
    }
    return text.empty() ? "no setting" : text;
}

}  // namespace doctor

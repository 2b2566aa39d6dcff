// Reads of an INI file: lines, events, and all three questions against a plain second
// implementation, with result buffers of any size.
//
// Input: section, key and buffer size, a line each; then the file.
#include "os/ini_scanner.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/input.h"
#include "os/ini_query.h"

namespace {

constexpr char kBlanks[] = " \t\n\v\f\r";

struct Setting {
    std::string Key;
    std::string Value;
};
struct Section {
    std::string Header;  // comment and white space cut
    std::vector<Setting> Settings;
};

std::string Trim(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(kBlanks);
    return begin == std::string::npos
               ? ""
               : text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

// The whole file as a reader sees it, copied out with no regard to speed.
std::vector<Section> Parse(std::string_view file) {
    std::vector<Section> sections;
    std::string line;
    for (std::size_t i = 0; i < file.size(); ++i) {
        line += file[i];
        if (file[i] != '\n' && line.size() < ini::kLineMax && i + 1 < file.size()) {
            continue;
        }
        std::string text = line.substr(0, line.find('\0'));
        text = Trim(text.substr(0, text.find(';')));
        const std::size_t equals = text.find('=');
        if (text.starts_with('[')) {
            sections.push_back({text, {}});
        } else if (equals != std::string::npos && !sections.empty()) {
            sections.back().Settings.push_back(
                {Trim(text.substr(0, equals)), Trim(text.substr(equals + 1))});
        }
        line.clear();
    }
    return sections;
}

// The first section of that name, or one without settings.
Section Find(const std::vector<Section>& sections, const std::string& name) {
    for (const Section& section : sections) {
        if (section.Header.starts_with("[" + name + "]")) {
            return section;
        }
    }
    return {};
}

std::optional<std::string> FindValue(const Section& section, const std::string& key) {
    for (const Setting& setting : section.Settings) {
        if (setting.Key == key) {
            return setting.Value.empty() ? std::nullopt : std::optional(setting.Value);
        }
    }
    return std::nullopt;
}

struct Result {
    std::optional<std::size_t> Length;
    std::unique_ptr<char[]> Buffer;  // exactly as long as was said, for the address sanitizer
};

Result Ask(std::string_view file, const char* section, const char* key, std::size_t size) {
    Result result{std::nullopt, std::make_unique<char[]>(size)};
    ini::CResultBuffer buffer(result.Buffer.get(), size);
    ini::CQuery query(section, key, buffer);
    while (!file.empty()) {
        const std::string_view line = ini::FirstLine(file);
        file.remove_prefix(line.size());
        if (!query.Take(line)) {
            break;
        }
    }
    result.Length = query.Finish();
    return result;
}

// `list`: the names as a buffer of any size would hold them, without the last terminator.
void CheckList(const Result& result, const std::string& list, std::size_t size) {
    fuzz::Require(result.Length.has_value(), "a list is always an answer");
    const std::size_t length = *result.Length;
    const std::string_view text(result.Buffer.get(), size);
    fuzz::Require(text.substr(0, length) == list.substr(0, length), "the list begins as it should");
    fuzz::Require(length == list.size() || length == (size < 2 ? 0 : size - 2),
                  "a cut list is size - 2 long");
    fuzz::Require(size == 0 || text[length] == '\0', "a list is terminated");
    fuzz::Require(size < 2 || length == 0 || text[length - 1] == '\0' || text[length + 1] == '\0',
                  "a list is terminated twice");
}

void CheckLines(std::string_view file) {
    while (!file.empty()) {
        const std::string_view line = ini::FirstLine(file);
        fuzz::Require(!line.empty() && line.size() <= ini::kLineMax, "lines are bounded");
        fuzz::Require(line.data() == file.data(), "lines follow each other");
        const ini::Event event = ini::ReadLine(line);
        for (const std::string_view part : {event.Text, event.Name, event.Value}) {
            fuzz::Require(fuzz::IsInside(part, line), "an event points into its line");
        }
        file.remove_prefix(line.size());
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view file = fuzz::Text(data, size);
    // As C strings, which is what callers give.
    const std::string section(std::string(fuzz::TakeLine(file)).c_str());
    const std::string key(std::string(fuzz::TakeLine(file)).c_str());
    const std::size_t bufferSize =
        std::strtoul(std::string(fuzz::TakeLine(file)).c_str(), nullptr, 10) % 2048;
    CheckLines(file);

    const std::vector<Section> sections = Parse(file);
    const Section wanted = Find(sections, section);
    const auto value = FindValue(wanted, key);
    const Result read = Ask(file, section.c_str(), key.c_str(), bufferSize);
    fuzz::Require(read.Length.has_value() == value.has_value(),
                  "a value is found when it is there");
    if (value && bufferSize > 0) {
        fuzz::Require(read.Buffer.get() == value->substr(0, bufferSize - 1), "the value is right");
        fuzz::Require(*read.Length == std::min(value->size(), bufferSize - 1), "so is its length");
    }
    std::string sectionNames;
    std::string keyNames;
    const auto append = [](std::string& list, const std::string& name) {
        list += name.empty() ? "" : name + '\0';
    };
    for (const Section& each : sections) {
        const std::size_t close = each.Header.find(']');
        append(sectionNames, close != std::string::npos ? each.Header.substr(1, close - 1) : "");
    }
    for (const Setting& setting : wanted.Settings) {
        append(keyNames, setting.Key);
    }
    CheckList(Ask(file, nullptr, nullptr, bufferSize), sectionNames, bufferSize);
    CheckList(Ask(file, section.c_str(), nullptr, bufferSize), keyNames, bufferSize);
    return 0;
}

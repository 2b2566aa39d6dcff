// Edits of an INI file: what a change leaves alone reads as before, what it sets reads back.
//
// Input: "set", "key" (delete it) or anything else (delete the section), the section, the key and
// the value, a line each; then the file.
#include "os/ini_editor.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/input.h"
#include "os/ini_query.h"
#include "os/ini_scanner.h"

namespace {

constexpr char kBlanks[] = " \t\n\v\f\r";

std::vector<std::string_view> Lines(std::string_view file) {
    std::vector<std::string_view> lines;
    while (!file.empty()) {
        lines.push_back(ini::FirstLine(file));
        file.remove_prefix(lines.back().size());
    }
    return lines;
}

// Everything that a reader sees in a file, in order; added to `events`.
std::vector<std::string> Events(std::string_view file, std::vector<std::string> events = {}) {
    for (const std::string_view line : Lines(file)) {
        const ini::Event event = ini::ReadLine(line);
        if (event.What == ini::Event::Kind::kHeader) {
            events.emplace_back(event.Text);
        } else if (event.What == ini::Event::Kind::kSetting) {
            events.push_back(std::string(event.Name) + "=" + std::string(event.Value));
        }
    }
    return events;
}

// Whether readers and writers see the same structure: no header and no setting is indented, and no
// key ends in white space that a writer does not know.
bool IsPlain(std::string_view file) {
    for (const std::string_view line : Lines(file)) {
        const ini::Event event = ini::ReadLine(line);
        if (event.What != ini::Event::Kind::kNothing && event.Text.data() != line.data()) {
            return false;
        }
        const std::size_t end = line.find_first_not_of(" \t", event.Name.size());
        if (event.What == ini::Event::Kind::kSetting && line[end] != '=') {
            return false;
        }
    }
    return true;
}

// Whether the format can hold the change, so that it reads back.
bool IsWritable(const ini::Change& change) {
    const auto isTrimmed = [](std::string_view text) {
        return text.find_first_of(kBlanks) != 0 &&
               (text.empty() || text.find_last_of(kBlanks) != text.size() - 1);
    };
    const auto has = [](std::string_view text, std::string_view characters) {
        return text.find_first_of(characters) != std::string_view::npos;
    };
    using std::string_view_literals::operator""sv;
    return !has(change.Section, ";\0\n"sv) && change.Section.size() + 3 < ini::kLineMax &&
           isTrimmed(*change.Key) && !change.Key->empty() && !has(*change.Key, ";=\0\n"sv) &&
           !change.Key->starts_with('[') && isTrimmed(*change.Value) &&
           !has(*change.Value, ";\0\n"sv) &&
           change.Key->size() + change.Value->size() + 2 <= ini::kLineMax;
}

ini::Edit Plan(std::string_view file, const ini::Change& change) {
    ini::CEditPlanner planner(change);
    for (const std::string_view line : Lines(file)) {
        if (!planner.Take(line)) {
            break;
        }
    }
    return planner.Finish();
}

std::optional<std::string> Read(std::string_view file, const std::string& section,
                                const std::string& key) {
    char text[ini::kLineMax + 1];
    ini::CResultBuffer buffer(text, sizeof text);
    ini::CQuery query(section.c_str(), key.c_str(), buffer);
    for (const std::string_view line : Lines(file)) {
        if (!query.Take(line)) {
            break;
        }
    }
    return query.Finish() ? std::optional<std::string>(text) : std::nullopt;
}

// What the edit takes away must be the one key, the one section, or nothing.
void CheckRemoved(std::string_view removed, const ini::Change& change) {
    const std::vector<std::string> events = Events(removed);
    if (change.Key) {
        fuzz::Require(events.empty() || (events.size() == 1 &&
                                         events[0].starts_with(std::string(*change.Key) + "=")),
                      "nothing but the key goes");
        return;
    }
    fuzz::Require(!events.empty() && ini::IsHeaderOf(events[0], change.Section),
                  "a section goes from its header");
    fuzz::Require(std::none_of(events.begin() + 1, events.end(),
                               [](const std::string& event) { return event.starts_with('['); }),
                  "no second section goes");
}

void CheckEdit(std::string_view file, const ini::Change& change, bool isPlain) {
    const ini::Edit edit = Plan(file, change);
    if (edit.What == ini::Edit::Kind::kNone) {
        fuzz::Require(!change.IsSet(), "a set always finds its place");
        return;
    }
    const bool isAppended = edit.What == ini::Edit::Kind::kAppendSection;
    const std::size_t writeAt = isAppended ? file.size() : edit.WriteAt;
    const std::size_t tailFrom = isAppended ? file.size() : edit.TailFrom;
    fuzz::Require(writeAt <= tailFrom && tailFrom <= file.size(), "an edit lies in the file");
    const std::string_view before = file.substr(0, writeAt);
    const std::string_view behind = file.substr(tailFrom);
    const std::string inserted =
        isAppended ? ini::NewSectionText(change)
                   : std::string(edit.BlankFirst ? "\n" : "") + ini::SettingText(change);
    const std::string after = std::string(before) + inserted + std::string(behind);

    fuzz::Require(Events(after) == Events(behind, Events(inserted, Events(before))),
                  "the rest of the file reads as before");
    if (isPlain) {
        CheckRemoved(file.substr(writeAt, tailFrom - writeAt), change);
    }
    if (isPlain && change.IsSet()) {
        const auto value = Read(after, std::string(change.Section), std::string(*change.Key));
        fuzz::Require(change.Value->empty() ? !value : value == *change.Value,
                      "what was set reads back");
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view file = fuzz::Text(data, size);
    const std::string_view what = fuzz::TakeLine(file);
    const std::string_view section = fuzz::TakeLine(file);
    const std::string_view key = fuzz::TakeLine(file);
    const std::string_view value = fuzz::TakeLine(file);
    const ini::Change set{.Section = section, .Key = key, .Value = value};
    const bool isPlain = IsWritable(set) && IsPlain(file);
    ini::Change change{.Section = section, .Key = {}, .Value = {}};
    if (what == "set") {
        change = set;
    } else if (what == "key") {
        change.Key = key;
    }
    CheckEdit(file, change, isPlain);
    return 0;
}

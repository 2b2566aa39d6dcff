#include "switch/switch_settings.h"

#include <charconv>
#include <cstdint>
#include <utility>

namespace {

constexpr std::string_view kWhiteSpace = " \t\v\f\r";
constexpr std::uint32_t kLongestTimeoutMs = 600'000;

std::string_view Trim(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(kWhiteSpace);
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(kWhiteSpace) - begin + 1);
}

// Takes the first line off the text; without its comment and surrounding white space.
std::string_view TakeLine(std::string_view& text) {
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return Trim(line.substr(0, line.find(';')));
}

}  // namespace

CSwitchSettings CSwitchSettings::Parse(std::string_view text) {
    CSwitchSettings settings;
    Section* section = nullptr;  // null: before the first section, or in a repeated one
    while (!text.empty()) {
        const std::string_view line = TakeLine(text);
        if (line.starts_with('[')) {
            const std::string_view name = line.substr(1, line.find(']') - 1);
            const auto [place, isNew] = settings.m_Sections.try_emplace(std::string(name));
            section = isNew ? &place->second : nullptr;
            continue;
        }
        const std::size_t equals = line.find('=');
        if (section != nullptr && equals != std::string_view::npos) {
            section->try_emplace(std::string(Trim(line.substr(0, equals))),
                                 Trim(line.substr(equals + 1)));
        }
    }
    return settings;
}

const char* CSwitchSettings::Find(std::string_view section, std::string_view key) const {
    const auto place = m_Sections.find(section);
    if (place == m_Sections.end()) {
        return nullptr;
    }
    const auto setting = place->second.find(key);
    if (setting == place->second.end() || setting->second.empty()) {
        return nullptr;
    }
    return setting->second.c_str();
}

std::chrono::milliseconds CSwitchSettings::FindTimeout(std::string_view section,
                                                       std::string_view key,
                                                       std::chrono::milliseconds fallback,
                                                       bool& isRefused) const {
    isRefused = false;
    const char* const value = Find(section, key);
    if (value == nullptr) {
        return fallback;
    }
    const std::string_view digits = value;
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(value, value + digits.size(), number);
    isRefused = error != std::errc() || end != value + digits.size() || number == 0 ||
                number > kLongestTimeoutMs;
    return isRefused ? fallback : std::chrono::milliseconds(number);
}

#include "hardware/systab_text.h"

#include <algorithm>
#include <cstdlib>
#include <string>

namespace smbios_tables {

namespace {

constexpr std::size_t kLineMax = 255;  // characters with the line feed

// Takes the first line off the text, with its line feed.
std::string_view TakeLine(std::string_view& text) {
    const std::string_view window = text.substr(0, kLineMax);
    const std::size_t feed = window.find('\n');
    const std::size_t length = feed == std::string_view::npos ? window.size() : feed + 1;
    text.remove_prefix(length);
    return window.substr(0, length);
}

}  // namespace

std::uint64_t FindSystabAddress(std::string_view text, std::string_view key) {
    while (!text.empty()) {
        std::string_view line = TakeLine(text);
        line = line.substr(0, line.find('\0'));
        const std::size_t equals = line.find('=');
        if (equals != std::string_view::npos && line.substr(0, equals) == key) {
            const std::string value(line.substr(equals + 1));
            return std::strtoull(value.c_str(), nullptr, 0);
        }
    }
    return 0;
}

}  // namespace smbios_tables

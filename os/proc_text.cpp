#include "os/proc_text.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace os {

namespace {

constexpr std::string_view kBlanks = " \t";

std::string_view SkipBlanks(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text;
}

// How far a figure with that unit word is shifted to give bytes.
unsigned int UnitShift(std::string_view unit) {
    if (unit == "kB") {
        return 10;
    }
    if (unit == "MB") {
        return 20;
    }
    return unit == "GB" ? 30 : 0;
}

// The text after the key in the first line that begins with it.
bool FindStatusLine(std::string_view status, std::string_view key, std::string_view& rest) {
    while (!status.empty()) {
        const std::string_view line = FirstLine(status);
        if (line.starts_with(key)) {
            rest = line.substr(key.size());
            return true;
        }
        status.remove_prefix(std::min(line.size() + 1, status.size()));
    }
    return false;
}

}  // namespace

std::string_view FirstLine(std::string_view text) {
    return text.substr(0, text.find('\n'));
}

bool ParseStatusFigure(std::string_view status, std::string_view key, std::uint64_t& bytes) {
    std::string_view rest;
    if (!FindStatusLine(status, key, rest)) {
        return false;
    }
    rest = SkipBlanks(rest);
    std::uint64_t figure = 0;
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), figure);
    if (error != std::errc()) {
        return false;
    }
    rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
    rest = SkipBlanks(rest);
    const unsigned int shift = UnitShift(rest.substr(0, rest.find_first_of(kBlanks)));
    if (figure > std::numeric_limits<std::uint64_t>::max() >> shift) {
        return false;
    }
    bytes = figure << shift;
    return true;
}

int ParseProcessNumber(std::string_view name) {
    int number = 0;
    const char* const end = name.data() + name.size();
    const auto [stop, error] = std::from_chars(name.data(), end, number);
    return error == std::errc() && stop == end && number >= 1 ? number : 0;
}

}  // namespace os

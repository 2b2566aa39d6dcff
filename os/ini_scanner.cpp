#include "os/ini_scanner.h"

namespace ini {

namespace {

constexpr bool IsSpace(char character) {
    return character == ' ' || (character >= '\t' && character <= '\r');
}

std::string_view TrimFront(std::string_view text) {
    while (!text.empty() && IsSpace(text.front())) {
        text.remove_prefix(1);
    }
    return text;
}

std::string_view TrimBack(std::string_view text) {
    while (!text.empty() && IsSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

// The name in a header, which runs to the first "]".
std::string_view HeaderName(std::string_view text) {
    const std::size_t close = text.find(']');
    return close == std::string_view::npos ? std::string_view() : text.substr(1, close - 1);
}

}  // namespace

std::string_view FirstLine(std::string_view text) {
    const std::string_view longest = text.substr(0, kLineMax);
    const std::size_t newline = longest.find('\n');
    return newline == std::string_view::npos ? longest : longest.substr(0, newline + 1);
}

std::string_view LineText(std::string_view line) {
    if (line.ends_with('\n')) {
        line.remove_suffix(1);
    }
    return line.substr(0, line.find('\0'));
}

bool IsHeaderOf(std::string_view text, std::string_view section) {
    return text.size() >= section.size() + 2 && text.front() == '[' &&
           text.substr(1, section.size()) == section && text[section.size() + 1] == ']';
}

Event ReadLine(std::string_view line) {
    std::string_view text = TrimFront(LineText(line));
    // Deliberate: a comment begins at the first ";", also inside a value or a header.
    text = TrimBack(text.substr(0, text.find(';')));
    if (text.empty()) {
        return {};
    }
    if (text.front() == '[') {
        return {.What = Event::Kind::kHeader, .Text = text, .Name = HeaderName(text), .Value = {}};
    }
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos) {
        return {};
    }
    return {.What = Event::Kind::kSetting,
            .Text = text,
            .Name = TrimBack(text.substr(0, equals)),
            .Value = TrimFront(text.substr(equals + 1))};
}

}  // namespace ini

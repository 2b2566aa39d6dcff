#include "hardware/escaped_text.h"

#include <charconv>

namespace {

constexpr std::size_t kEscapeLength = 4;  // a backslash, and "040" or "x20"

// The character of the escape that `text` begins with: digits of the base behind the mark. 0 when
// it begins with none.
unsigned int EscapedCharacter(std::string_view text, std::string_view mark, int base) {
    constexpr unsigned int kMax = 0xFF;
    if (text.size() < kEscapeLength || !text.starts_with(mark)) {
        return 0;
    }
    unsigned int value = 0;
    const char* const end = text.data() + kEscapeLength;
    const auto [stop, error] = std::from_chars(text.data() + mark.size(), end, value, base);
    return error == std::errc() && stop == end && value <= kMax ? value : 0;
}

std::string DecodeEscapes(std::string_view text, std::string_view mark, int base) {
    std::string decoded;
    decoded.reserve(text.size());
    while (!text.empty()) {
        const unsigned int escaped = EscapedCharacter(text, mark, base);
        decoded += escaped != 0 ? static_cast<char>(escaped) : text.front();
        text.remove_prefix(escaped != 0 ? kEscapeLength : 1);
    }
    return decoded;
}

}  // namespace

std::string DecodeOctalEscapes(std::string_view text) {
    constexpr int kOctal = 8;
    return DecodeEscapes(text, "\\", kOctal);
}

std::string DecodeUdevEscapes(std::string_view text) {
    constexpr int kHexadecimal = 16;
    return DecodeEscapes(text, "\\x", kHexadecimal);
}

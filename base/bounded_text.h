// Text in fixed-size arrays: the one helper that cuts, and always terminates.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

// Copies as much of `text` as fits into `size` characters with a terminator. Returns false when
// something was cut (or `size` is 0, when nothing is written).
inline bool CopyText(char* buffer, std::size_t size, std::string_view text) {
    if (size == 0) {
        return false;
    }
    const std::size_t length = std::min(text.size(), size - 1);
    if (length != 0) {
        std::memcpy(buffer, text.data(), length);
    }
    buffer[length] = '\0';
    return length == text.size();
}

template <std::size_t Size>
bool CopyText(char (&buffer)[Size], std::string_view text) {
    return CopyText(static_cast<char*>(buffer), Size, text);
}

// A character array that may fill its field without a terminator, as a view of its text.
template <std::size_t Size>
std::string_view FieldText(const char (&field)[Size]) {
    return {static_cast<const char*>(field), strnlen(static_cast<const char*>(field), Size)};
}

// Copies of zero-terminated texts, for owners that give out pointers.
#pragma once

#include <cstring>
#include <memory>

// Null for null. Throws std::bad_alloc.
inline std::unique_ptr<char[]> CopyOfText(const char* text) {
    if (text == nullptr) {
        return nullptr;
    }
    const std::size_t size = std::strlen(text) + 1;
    auto copy = std::make_unique_for_overwrite<char[]>(size);
    std::memcpy(copy.get(), text, size);
    return copy;
}

// What the threads of the load write, and what its reader therefore expects: every byte of an entry
// follows from its thread and its number.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace load {

inline constexpr unsigned int kThreads = 50;  // at most
inline constexpr char kFormat[] = "LOAD %02u %012llu %.*s %012llu";
inline constexpr char kEndFormat[] = "LOAD %02u ends with %012llu, %llu of them for the log";

// Every other thread writes at level 0, which always passes, so that none of its entries may be
// missing; the others at 1 to 6.
constexpr unsigned int LevelOf(unsigned int thread) {
    return thread % 2 == 0 ? 0 : 1 + thread / 2 % 6;
}

inline constexpr std::size_t kLongest = 6000;
inline constexpr std::size_t kShortMax = 200;
inline constexpr std::size_t kLetters = 26;
inline constexpr std::size_t kLine = 500;  // long entries have several lines

inline constexpr auto kPattern = [] {
    std::array<char, kLongest + kLetters> pattern{};
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        pattern[i] = i % kLine == kLine - 1 ? '\n' : static_cast<char>('a' + i % kLetters);
    }
    return pattern;
}();

constexpr bool IsLong(std::uint64_t number) {
    return number % 1009 == 0;
}

// What stands between the two numbers of an entry. One in a thousand is too long for the entry
// buffer.
constexpr std::string_view Filler(unsigned int thread, std::uint64_t number) {
    const std::uint64_t mixed = (number * 2'654'435'761U + thread) >> 7U;
    const std::size_t length =
        IsLong(number) ? 1025 + mixed % (kLongest - 1025) : mixed % (kShortMax + 1);
    return {kPattern.data() + (number + thread) % kLetters, length};
}

}  // namespace load

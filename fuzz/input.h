// What the fuzz targets share: taking an input apart, and stopping at a broken promise.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

// The entry that the fuzzing engine calls, once for each input. Always 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

inline std::string_view Text(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

// Takes the first line off the input, without its newline. Parameters of a target stand in the
// first lines of its inputs, so that seeds can be read and written by hand.
inline std::string_view TakeLine(std::string_view& input) {
    const std::size_t newline = input.find('\n');
    const std::string_view line = input.substr(0, newline);
    input.remove_prefix(newline == std::string_view::npos ? input.size() : newline + 1);
    return line;
}

// Ends the run with a reproducer when `isKept` is false.
inline void Require(bool isKept, const char* promise) {
    if (!isKept) {
        (void)std::fprintf(stderr, "broken: %s\n", promise);
        std::abort();
    }
}

inline bool IsInside(std::string_view part, std::string_view whole) {
    return part.empty() || (part.data() >= whole.data() &&
                            part.data() + part.size() <= whole.data() + whole.size());
}

}  // namespace fuzz

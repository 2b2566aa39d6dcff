// The texts and records that carry a run level.
//
// Input: the text of the run-level file or of the runlevel program.
#include "os/run_level.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/input.h"

namespace {

// The C library's reading of the same text.
std::optional<std::int32_t> Number(const std::string& text) {
    char* end = nullptr;
    const long number = std::strtol(text.c_str(), &end, 10);
    if (end == text.c_str()) {
        return std::nullopt;
    }
    return static_cast<std::int32_t>(std::clamp<long>(number,
                                                      std::numeric_limits<std::int32_t>::min(),
                                                      std::numeric_limits<std::int32_t>::max()));
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = fuzz::Text(data, size);
    // On the heap and without a terminator: a read behind the end is seen.
    const std::vector<char> exact(text.begin(), text.end());
    const std::string_view view(exact.data(), exact.size());
    fuzz::Require(ParseRunLevelText(view) == Number(std::string(text)),
                  "a number is read as the C library reads it");
    const std::int32_t level = RunLevelOfProgramLine(view);
    const std::size_t blank = text.find(' ');
    const bool isThere = blank != std::string_view::npos && blank + 1 < text.size();
    fuzz::Require(level == (isThere ? text[blank + 1] - '0' : kRunLevelUnknown),
                  "the character behind the first blank is the level");
    std::int32_t pid = 0;
    std::copy_n(data, std::min(size, sizeof pid), reinterpret_cast<std::uint8_t*>(&pid));
    const std::int32_t utmp = RunLevelOfUtmpPid(pid);
    fuzz::Require(utmp >= -128 - '0' && utmp <= 127 - '0', "a level is one character");
    return 0;
}

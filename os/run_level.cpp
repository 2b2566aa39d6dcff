#include "os/run_level.h"

#include <charconv>
#include <limits>

bool IsOsShutdown(std::int32_t runLevel) {
    return runLevel == kRunLevelHalt || runLevel == kRunLevelReboot;
}

bool HasRunLevelFile(std::string_view nickname) {
    return nickname == "RHEL7" || nickname == "SLES12" || nickname == "OL7";
}

std::optional<std::int32_t> ParseRunLevelText(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(" \t\n\v\f\r");
    if (begin == std::string_view::npos) {
        return std::nullopt;
    }
    text.remove_prefix(begin);
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') {
        text.remove_prefix(1);
    }
    std::int32_t number = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error == std::errc::result_out_of_range) {
        return text[0] == '-' ? std::numeric_limits<std::int32_t>::min()
                              : std::numeric_limits<std::int32_t>::max();
    }
    return error == std::errc() ? std::optional(number) : std::nullopt;
}

std::int32_t RunLevelOfUtmpPid(std::int32_t pid) {
    return static_cast<char>(pid % 256) - '0';
}

std::int32_t RunLevelOfProgramLine(std::string_view line) {
    const std::size_t blank = line.find(' ');
    if (blank == std::string_view::npos || blank + 1 == line.size()) {
        return kRunLevelUnknown;
    }
    return line[blank + 1] - '0';
}

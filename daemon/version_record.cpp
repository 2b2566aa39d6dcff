// The build's constants come as definitions for this one source: a new time stamp compiles nothing
// else.
#include "daemon/version_record.h"

#include <charconv>

const char* const kProgramVersion = MORLA_VERSION_TEXT;
const char* const kProgramMilestone = MORLA_MILESTONE;
const char* const kProgramBuilt = MORLA_BUILD_STAMP;

namespace {

// Takes a number off the front of `text`, and `separator` behind it. False when one of them is
// missing; a number that ends the text is still taken.
bool TakeNumber(std::string_view& text, char separator, std::uint32_t& number) {
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest == end || *rest != separator) {
        return false;
    }
    text = {rest + 1, static_cast<std::size_t>(end - rest - 1)};
    return true;
}

}  // namespace

ProgramVersion ParseVersion(std::string_view text) {
    ProgramVersion version{.Major = 0, .Minor = 0, .Patch = 0};
    if (TakeNumber(text, '.', version.Major) && TakeNumber(text, '-', version.Minor)) {
        (void)TakeNumber(text, '\0', version.Patch);
    }
    return version;
}

std::uint32_t VersionCode(const ProgramVersion& version) {
    return version.Major << 16U | version.Minor << 8U | version.Patch;
}

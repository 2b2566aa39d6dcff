// The version record: constants that the build provides.
#pragma once

#include <cstdint>
#include <string_view>

inline constexpr char kProgramName[] = "morla";
extern const char* const kProgramVersion;    // "MAJOR.MINOR-PATCH"
extern const char* const kProgramMilestone;  // "-" in released builds
extern const char* const kProgramBuilt;      // "yyyy/mm/dd-hh:mm", UTC

struct ProgramVersion {
    std::uint32_t Major;
    std::uint32_t Minor;
    std::uint32_t Patch;
};

// Parts that are missing are 0.
[[nodiscard]] ProgramVersion ParseVersion(std::string_view text);
// The version in one word: major << 16 | minor << 8 | patch.
[[nodiscard]] std::uint32_t VersionCode(const ProgramVersion& version);

// Run levels and the texts that carry them. Calls nothing; run_level_reader does the reading.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

inline constexpr std::int32_t kRunLevelHalt = 0;
inline constexpr std::int32_t kRunLevelReboot = 6;
inline constexpr std::int32_t kRunLevelSimpleStop = 5;  // nobody announced a shutdown
inline constexpr std::int32_t kRunLevelUnknown = -1;

// Whether the operating system is going down, not only the daemon.
[[nodiscard]] bool IsOsShutdown(std::int32_t runLevel);

// Whether an operating system release of that name (the variable HX_NICKNAME) announces its
// shutdown in the run-level file.
[[nodiscard]] bool HasRunLevelFile(std::string_view nickname);

// The decimal number at the start of the run-level file's text, behind white space; a number beyond
// 32 bits gives the nearest one. Empty when there is none.
[[nodiscard]] std::optional<std::int32_t> ParseRunLevelText(std::string_view text);

// The run level of a utmp run-level record: its process id holds the character in the low byte.
// Any character counts, also one that is no digit.
[[nodiscard]] std::int32_t RunLevelOfUtmpPid(std::int32_t pid);

// The run level in a line of the runlevel program, "PREVIOUS CURRENT": the character behind the
// first blank. Any character counts. kRunLevelUnknown when there is none.
[[nodiscard]] std::int32_t RunLevelOfProgramLine(std::string_view line);

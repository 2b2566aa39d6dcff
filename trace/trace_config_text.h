// Reading rules of the trace configuration files, on text alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace trace {

// The text before the header of the last section. Nothing when that is not "EndOfFile" (case
// ignored): such a file counts as absent.
std::optional<std::string_view> CutAtEndSection(std::string_view file);

// The text of the section of that name (case ignored), from behind its "]" to the next "[" or the
// end. Nothing when the last section header of the file is not "EndOfFile" (case ignored), when a
// "[" has no "]", or when there is no such section. The first section of a name counts.
std::optional<std::string_view> FindSection(std::string_view file, std::string_view name);

// The value of a key in a section's text: the key is found as a plain substring anywhere, the
// value begins behind the next "=" and the white space there (line ends too), and ends with its
// line or after `limit` characters. Nothing when the key or the "=" is missing.
std::optional<std::string_view> FindValue(std::string_view section, std::string_view key,
                                          std::size_t limit);

// The same as a number in C notation (decimal, 0x hexadecimal, leading-0 octal); what is not a
// number reads as 0, and only the low 32 bits are kept.
std::optional<std::uint32_t> FindNumber(std::string_view section, std::string_view key);

}  // namespace trace

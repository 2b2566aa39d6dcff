// Pure parsers of what the kernel writes about processes under /proc.
#pragma once

#include <cstdint>
#include <string_view>

namespace os {

// Up to the first line feed, which is not part of it; the whole text when there is none.
[[nodiscard]] std::string_view FirstLine(std::string_view text);

// The figure of a process's status file, in bytes: the first line that begins with `key` (which
// includes the colon), its number and its unit word "kB", "MB" or "GB". A number with any other
// unit word, or none, counts as it stands. False, with `bytes` unchanged, when there is no such
// line, when no decimal number follows the key, or when the result does not fit.
[[nodiscard]] bool ParseStatusFigure(std::string_view status, std::string_view key,
                                     std::uint64_t& bytes);

// The number of a process from the name of its directory: decimal digits and nothing else, at
// least 1, at most what an identifier can hold. 0 for every other name.
[[nodiscard]] int ParseProcessNumber(std::string_view name);

}  // namespace os

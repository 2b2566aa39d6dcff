// Escapes in the names that the kernel and its device manager write.
#pragma once

#include <string>
#include <string_view>

// Both leave what is no whole escape, or one of NUL, as it is.

// "\040", as in the table of mounts.
[[nodiscard]] std::string DecodeOctalEscapes(std::string_view text);
// "\x20", as in the links of /dev/disk.
[[nodiscard]] std::string DecodeUdevEscapes(std::string_view text);

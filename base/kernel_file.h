// Reads files of /proc and /sys, which report size 0, to their end within a limit.
#pragma once

#include <cstddef>
#include <string>

// Reads the file at `path` into `text`, at most `limit` bytes (what lies beyond is left).
// Returns 0, or the errno number of the open or read that failed; `text` is then empty.
// Directories fail with EISDIR. The descriptor is close-on-exec and never blocks on a FIFO.
[[nodiscard]] int ReadKernelFile(const char* path, std::string& text,
                                 std::size_t limit = 1U << 20U);

// Reading a tree file whole, and writing one so that it is on the disk before it replaces another.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// A larger file is refused before memory is spent on it.
inline constexpr std::size_t kLargestTreeFile = std::size_t{1} << 29U;  // bytes

enum class RegistryFileState { Read, NotOpened, Empty, TooLarge, NotRead };

// Reads the file into `text`. Never blocks on a FIFO. Throws std::bad_alloc.
[[nodiscard]] RegistryFileState ReadRegistryFile(const char* path, std::string& text);

// Writes an open, empty file, gives it mode 0644 and waits until it is on the disk. Returns 0 or
// the errno number of what failed; the file is then incomplete.
[[nodiscard]] int WriteRegistryFile(int fd, std::string_view text);

// Waits until the directory's entries are on the disk. Returns 0 or an errno number.
[[nodiscard]] int SyncDirectory(const char* path);

// The names in a folder.
#pragma once

#include <string>
#include <vector>

// Fills `names` with the entries of the folder, without "." and "..", sorted by their bytes.
// Returns 0, or the errno number of what failed; `names` is then empty.
[[nodiscard]] int ListDirectory(const std::string& path, std::vector<std::string>& names);

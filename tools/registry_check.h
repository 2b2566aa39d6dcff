// What a registry tree file holds that its next save would change or lose (pure).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tools {

struct TreeFinding {
    std::size_t Line;  // from 1
    bool IsLoss;       // something is lost; otherwise it is only written in another way
    std::string What;
};

// In the order of lines. Follows the rules by which the file is read: pieces of lines that are too
// long, nodes that end at empty lines, entries that replace earlier ones.
[[nodiscard]] std::vector<TreeFinding> CheckTreeText(std::string_view text);

}  // namespace tools

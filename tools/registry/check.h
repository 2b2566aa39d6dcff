// What a registry tree file holds that its next save would change or lose (pure).
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace tools {

struct TreeFinding {
    std::size_t Line;  // from 1
    bool IsLoss;       // something is lost; otherwise it is only written in another way
    std::string What;
};

using FindingVisitor = std::function<void(const TreeFinding&)>;

// Calls `visit` in the order of lines; nothing is collected, for a file may have millions of
// findings. Follows the rules by which the file is read: pieces of lines that are too long, nodes
// that end at empty lines, entries that replace earlier ones.
void CheckTreeText(std::string_view text, const FindingVisitor& visit);

}  // namespace tools

// Writing a node as the text of a tree file.
#include <algorithm>
#include <charconv>
#include <iterator>
#include <vector>

#include "os/registry_node.h"

namespace {

struct Subkey {
    std::string Name;
    CRegistryNodeRef Node;
};

// A node whose values are written and whose subkeys are being written, last first.
struct OpenNode {
    std::vector<Subkey> Subkeys;
};

void AppendNumber(std::string& text, std::uint32_t number) {
    char digits[16];
    const auto end =
        std::to_chars(std::begin(digits), std::end(digits), static_cast<std::int32_t>(number));
    text.append(std::begin(digits), end.ptr);
}

void AppendBytes(std::string& text, std::span<const unsigned char> bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    for (const unsigned char byte : bytes) {
        const char group[] = {kDigits[byte / 16], kDigits[byte % 16], ' '};
        text.append(std::begin(group), std::size(group));
    }
}

// Entries without data are left out, and so is every other type.
void AppendValue(std::string& text, const StrMapRow& row) {
    if (row.Type != kRegDword && row.Data == nullptr) {
        return;
    }
    switch (row.Type) {
    case kRegSz: text.append(row.Name).append("=s=").append(RegistryTextOf(row)); break;
    case kRegExpandSz: text.append(row.Name).append("=es=").append(RegistryTextOf(row)); break;
    case kRegDword: AppendNumber(text.append(row.Name).append("=d="), RegistryNumberOf(row)); break;
    case kRegBinary: AppendBytes(text.append(row.Name).append("=b="), RegistryBinaryOf(row)); break;
    default: return;
    }
    text += '\n';
}

// Under the node's lock: the values go to the text, the subkeys to the list.
OpenNode WriteValues(std::string& text, CRegistryNode& node) {
    OpenNode open;
    for (const StrMapRow& row : node) {
        if (row.Type != kRegSubkey) {
            AppendValue(text, row);
        } else if (row.Data != nullptr) {
            // A subkey entry that DeleteKey left behind is not written: the format has no line for
            // it, and as an empty node it would bring the deleted key back.
            CRegistryNodeRef child(static_cast<CRegistryNode*>(row.Data));
            open.Subkeys.push_back({row.Name, std::move(child)});
        }
    }
    std::reverse(open.Subkeys.begin(), open.Subkeys.end());
    return open;
}

}  // namespace

void CRegistryNode::dumpNode(std::string& text) {
    std::vector<OpenNode> path;
    {
        const CCriticalSectionGuard guard(*this);
        path.push_back(WriteValues(text, *this));
    }
    while (!path.empty()) {
        std::vector<Subkey>& subkeys = path.back().Subkeys;
        if (subkeys.empty()) {
            text += '\n';
            path.pop_back();
            continue;
        }
        const Subkey subkey = std::move(subkeys.back());
        subkeys.pop_back();
        const CCriticalSectionGuard guard(*subkey.Node);
        if (!subkey.Node->IsDead()) {  // deleted since its parent was visited
            text.append("[").append(subkey.Name).append("]\n");
            path.push_back(WriteValues(text, *subkey.Node));
        }
    }
}

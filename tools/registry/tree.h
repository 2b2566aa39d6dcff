// The process's registry tree as the tool works on it: read with care, walked, saved for certain.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "os/registry_node.h"
#include "tools/registry/value.h"

namespace tools {

using KeyPath = std::vector<std::string>;  // names from a predefined key on

// Splits a path as the registry does: at backslashes, behind the last of them at slashes.
[[nodiscard]] KeyPath SplitKeyPath(const std::string& path);
[[nodiscard]] std::string JoinKeyPath(const KeyPath& path);  // with slashes
[[nodiscard]] bool BeginsWithPredefinedKey(const KeyPath& path);

// Reads the tree. When a file that it should come from is there but cannot be read, or when the
// tree is going to be saved (`isChange`) and lines of the file would be lost, that is reported and
// the exit code is not 0, unless `isForced`.
[[nodiscard]] int LoadTree(bool isChange, bool isForced);

// Saves the tree, when it changed, and reads the file again. The exit code is not 0 when that does
// not hold the tree. Handles that changed the tree still exist: one that goes has saved it.
[[nodiscard]] int SaveTree();

// The node of that key; null when there is none.
[[nodiscard]] CRegistryNodeRef FindKey(const KeyPath& path);

// The same, made with those above it when it is missing; null when a value is in the way. The tree
// changes in memory, and the next save writes it.
[[nodiscard]] CRegistryNodeRef MakeKey(const KeyPath& path);

// Stores the value in memory likewise. False when a key has that name.
[[nodiscard]] bool StoreValue(CRegistryNode& key, const std::string& name,
                              const RegistryValue& value);

// What a key holds at one moment, in the order of names.
struct KeyContents {
    std::vector<std::pair<std::string, RegistryValue>> Values;
    std::vector<std::pair<std::string, CRegistryNodeRef>> Subkeys;
};
[[nodiscard]] KeyContents ReadKey(CRegistryNode& node);

// Calls `visit(path, contents)` for the key and every key below it, parents first; paths begin
// below the key. False, with the rest left out, when keys nest deeper than kDeepestKey.
inline constexpr std::size_t kDeepestKey = 1000;
template <typename Visitor>
[[nodiscard]] bool WalkKeys(const CRegistryNodeRef& key, Visitor visit) {
    using Step = std::pair<KeyPath, CRegistryNodeRef>;
    std::vector<Step> pending = {{{}, key}};
    while (!pending.empty()) {
        const Step step = std::move(pending.back());
        pending.pop_back();
        const KeyContents contents = ReadKey(*step.second);
        if (step.first.size() >= kDeepestKey && !contents.Subkeys.empty()) {
            return false;
        }
        visit(step.first, contents);
        for (std::size_t left = contents.Subkeys.size(); left > 0; --left) {  // the first is next
            const auto& [name, node] = contents.Subkeys[left - 1];
            KeyPath path = step.first;
            path.push_back(name);
            pending.emplace_back(std::move(path), node);
        }
    }
    return true;
}

}  // namespace tools

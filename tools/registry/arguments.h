// What the registry commands share: their arguments, and the answers that several of them give.
#pragma once

#include <string>

#include "os/registry_node.h"
#include "tools/registry/tree.h"

namespace tools {

struct RegistryArguments {
    std::string Path;
    std::string Name;
    std::string Value;
    std::string Type = "string";
    std::string File = "-";  // standard input
    bool HasName = false;
    bool IsRecursive = false;
    bool AsJson = false;
    bool IsExpanded = false;
    bool IsForced = false;
};

// Report the failure and return its exit code.
[[nodiscard]] int NoKey(const RegistryArguments& arguments);
[[nodiscard]] int WillBeLost(const std::string& what);

// The commands that move whole trees. `key` is the node at `path`, null when there is none.
[[nodiscard]] int ExportTree(const RegistryArguments& arguments, const KeyPath& path,
                             const CRegistryNodeRef& key);
[[nodiscard]] int ImportTree(const RegistryArguments& arguments);
[[nodiscard]] int CheckTreeFile(const RegistryArguments& arguments);

}  // namespace tools

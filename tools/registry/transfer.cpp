// morlactl registry: exporting, importing and checking whole trees.
#include <cerrno>
#include <fstream>
#include <iostream>
#include <vector>

#include "base/error_text.h"
#include "tools/command.h"
#include "tools/registry/arguments.h"
#include "tools/registry/check.h"
#include "tools/registry/json.h"
#include "tools/registry/tree.h"
#include "tools/registry/value.h"

namespace tools {

namespace {

// 0 with the text, else the exit code. "-" is standard input.
int ReadInput(const std::string& file, std::string& text) {
    std::ifstream named;
    if (file != "-") {
        named.open(file, std::ios::binary);
        const int error = errno;
        if (!named) {
            return Fail(error == ENOENT ? kNotFound : kFailure,
                        "cannot open " + file + ": " + CErrorText(error).Get());
        }
    }
    std::istream& stream = file == "-" ? std::cin : named;
    constexpr std::size_t kBlockSize = 65536;
    std::vector<char> block(kBlockSize);
    while (stream) {
        stream.read(block.data(), kBlockSize);
        text.append(block.data(), static_cast<std::size_t>(stream.gcount()));
    }
    return stream.bad() ? Fail(kFailure, "cannot read " + file) : static_cast<int>(kSuccess);
}

KeyPath Join(KeyPath path, const KeyPath& rest) {
    path.insert(path.end(), rest.begin(), rest.end());
    return path;
}

int CheckSurvival(const RegistryExport& tree) {
    for (const ExportedKey& key : tree.Keys) {
        const KeyPath whole = Join(tree.Path, key.Path);
        for (const std::string& name : whole) {
            if (!KeySurvivesSave(name)) {
                return WillBeLost("the key " + JoinKeyPath(whole));
            }
        }
        for (const auto& [name, value] : key.Values) {
            if (!SurvivesSave(name, value)) {
                return WillBeLost("the value " + name + " of " + JoinKeyPath(whole));
            }
        }
    }
    return kSuccess;
}

// Only the tree in memory changes: whoever gives up before SaveTree leaves the file as it is.
int StoreKey(const KeyPath& path, const ExportedKey& key) {
    const CRegistryNodeRef node = MakeKey(path);
    if (!node) {
        return Fail(kFailure, "cannot create " + JoinKeyPath(path) + ": a value is in the way");
    }
    for (const auto& [name, value] : key.Values) {
        if (!StoreValue(*node, name, value)) {
            return Fail(kFailure, "cannot set " + name + ": it is a key in " + JoinKeyPath(path));
        }
    }
    return kSuccess;
}

}  // namespace

int ExportTree(const RegistryArguments& arguments, const KeyPath& path,
               const CRegistryNodeRef& key) {
    if (!key) {
        return NoKey(arguments);
    }
    RegistryExport tree;
    tree.Path = path;
    if (!CollectKeys(key, true, tree)) {
        return Fail(kFailure, "keys nest too deep below " + arguments.Path);
    }
    PrintLine(json_text::Dump(ExportToJson(tree)));
    return kSuccess;
}

int ImportTree(const RegistryArguments& arguments) {
    std::string text;
    if (const int code = ReadInput(arguments.File, text); code != kSuccess) {
        return code;
    }
    RegistryExport tree;
    std::string problem;
    if (!ParseExport(text, tree, problem)) {
        return Fail(kFailure, "nothing was imported: " + problem);
    }
    if (!BeginsWithPredefinedKey(tree.Path)) {
        return Fail(kFailure, "nothing was imported: its path begins with no predefined key");
    }
    if (const int code = LoadTree(true, arguments.IsForced); code != kSuccess) {
        return code;
    }
    if (!arguments.IsForced) {
        if (const int code = CheckSurvival(tree); code != kSuccess) {
            return code;
        }
    }
    for (const ExportedKey& key : tree.Keys) {
        if (const int code = StoreKey(Join(tree.Path, key.Path), key); code != kSuccess) {
            return code;
        }
    }
    return SaveTree();
}

int CheckTreeFile(const RegistryArguments& arguments) {
    std::string text;
    if (const int code = ReadInput(arguments.File, text); code != kSuccess) {
        return code;
    }
    CRegistryNode root;
    bool isLoss = !root.restoreNode(text);
    if (isLoss) {
        PrintLine(arguments.File + ": holds no entry, counts as unreadable");
    }
    CheckTreeText(text, [&](const TreeFinding& finding) {
        PrintLine(arguments.File + ":" + std::to_string(finding.Line) + ": " +
                  (finding.IsLoss ? "lost: " : "changed: ") + finding.What);
        isLoss = isLoss || finding.IsLoss;
    });
    return isLoss ? kFailure : kSuccess;
}

}  // namespace tools

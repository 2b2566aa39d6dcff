#include "tools/registry/tree.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "base/critical_section.h"
#include "os/registry.h"
#include "os/registry_file.h"
#include "os/registry_path.h"
#include "os/registry_state.h"
#include "tools/command.h"
#include "tools/registry/check.h"

namespace tools {

namespace {

// What a save would lose of the text of that file; empty when nothing.
std::string FindLoss(const std::string& path, const std::string& text) {
    std::string loss;
    CheckTreeText(text, [&](const TreeFinding& finding) {
        if (finding.IsLoss && loss.empty()) {
            loss = "a save would lose something of " + path + ", line " +
                   std::to_string(finding.Line) + ": " + finding.What;
        }
    });
    return loss;
}

// Follows the order in which the registry looks for its tree. Nothing to say when the first file
// that is there and not empty is sound, or when there is none at all. An empty file is a damaged
// one, which another file can make up for.
std::string FindDamage(bool isChange) {
    std::string damage;
    for (const char* const path :
         {CRegistry::MPRegistry, CRegistry::MPRegistryOld, CRegistry::MPRegistryDefault}) {
        std::string text;
        const RegistryFileState state = ReadRegistryFile(path, text);
        const bool isMissing = access(path, F_OK) != 0 && errno == ENOENT;
        if (isMissing) {
            continue;
        }
        if (state == RegistryFileState::Empty) {
            damage = damage.empty() ? std::string(path) + " is empty" : damage;
            continue;
        }
        CRegistryNode node;
        if (state != RegistryFileState::Read || !node.restoreNode(text)) {
            return std::string(path) + " cannot be read";
        }
        return isChange ? FindLoss(path, text) : "";
    }
    return damage;
}

}  // namespace

KeyPath SplitKeyPath(const std::string& path) {
    KeyPath names;
    std::string text = path;
    CRegistryPathWalk walk(text.data(), text.size());
    while (const char* const name = walk.Next()) {
        names.emplace_back(name);
    }
    return names;
}

std::string JoinKeyPath(const KeyPath& path) {
    std::string text;
    for (const std::string& name : path) {
        text += text.empty() ? "" : "/";
        text += name;
    }
    return text;
}

bool BeginsWithPredefinedKey(const KeyPath& path) {
    const auto& names = CRegistryState::kHiveNames;
    return !path.empty() && std::find(names.begin(), names.end(), path.front()) != names.end();
}

int LoadTree(bool isChange, bool isForced) {
    const std::string damage = FindDamage(isChange);
    if (!damage.empty() && !isForced) {
        return Fail(kFailure, damage + " (see registry check; --force goes on all the same)");
    }
    if (!damage.empty()) {
        Warn(damage);
    }
    const CRegistry firstHandle;  // reads the tree
    return kSuccess;
}

int SaveTree() {
    if (!RegistryState.MIsDirty()) {
        return kSuccess;
    }
    CRegistry::SaveTree();
    std::string expected;
    std::string saved;
    RegistryState.Root().dumpNode(expected);
    if (ReadRegistryFile(CRegistry::MPRegistry, saved) != RegistryFileState::Read ||
        saved != expected) {
        return Fail(kFailure, std::string("the tree was not saved to ") + CRegistry::MPRegistry +
                                  " (is its folder there, and writable?)");
    }
    return kSuccess;
}

CRegistryNodeRef FindKey(const KeyPath& path) {
    CRegistryNodeRef node(&RegistryState.Root());
    for (const std::string& name : path) {
        if (!node) {
            break;
        }
        node = node->FindSubkey(name.c_str());
    }
    return node;
}

CRegistryNodeRef MakeKey(const KeyPath& path) {
    CRegistryNodeRef node(&RegistryState.Root());
    for (const std::string& name : path) {
        bool isNew = false;
        if (node) {
            node = node->FindOrAddSubkey(name.c_str(), isNew);
        }
        if (isNew) {
            RegistryState.MarkDirty();
        }
    }
    return node;
}

bool StoreValue(CRegistryNode& key, const std::string& name, const RegistryValue& value) {
    CRegistryData data = MakeData(value);
    if (key.FindSubkey(name.c_str()) ||
        key.Store(name.c_str(), data) == CRegistryNode::Outcome::Dead) {
        return false;
    }
    RegistryState.MarkDirty();
    return true;
}

KeyContents ReadKey(CRegistryNode& node) {
    KeyContents contents;
    const CCriticalSectionGuard guard(node);
    for (const StrMapRow& row : node) {
        RegistryValue value;
        if (row.Type == kRegSubkey && row.Data != nullptr) {
            contents.Subkeys.emplace_back(row.Name,
                                          CRegistryNodeRef(static_cast<CRegistryNode*>(row.Data)));
        } else if (ReadRow(row, value)) {
            contents.Values.emplace_back(row.Name, std::move(value));
        }
    }
    return contents;
}

}  // namespace tools

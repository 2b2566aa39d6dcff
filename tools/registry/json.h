// A part of the registry tree as JSON, and back, without loss.
//
//     {
//       "format": "morla registry export", "version": 1,
//       "path": ["HKEY_LOCAL_MACHINE", "SOFTWARE"],
//       "keys": [
//         {"path": [], "values": [{"name": "Port", "type": "dword", "value": 80}]},
//         {"path": ["Fans"], "values": []}
//       ]
//     }
//
// "keys" holds the exported key itself and every key below it, parents first, with paths below the
// exported key. A name that is not UTF-8 stands in a path as {"name_hex": "ff"}.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "inventory/json_text.h"
#include "tools/registry/tree.h"
#include "tools/registry/value.h"

namespace tools {

struct ExportedKey {
    KeyPath Path;  // below the exported key
    std::vector<std::pair<std::string, RegistryValue>> Values;
    bool IsNameOnly = false;  // listed, without its values: no "values" in JSON, not for import
};

struct RegistryExport {
    KeyPath Path;  // from a predefined key on
    std::vector<ExportedKey> Keys;
};

// Adds the key, with `isRecursive` everything below it, else the names of its subkeys. False when
// keys nest deeper than kDeepestKey.
[[nodiscard]] bool CollectKeys(const CRegistryNodeRef& key, bool isRecursive, RegistryExport& tree);

[[nodiscard]] Json ExportToJson(const RegistryExport& tree);

// False, with the reason in `problem`, when the text is no such JSON.
[[nodiscard]] bool ParseExport(const std::string& text, RegistryExport& tree, std::string& problem);

}  // namespace tools

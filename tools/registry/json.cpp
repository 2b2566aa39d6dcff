#include "tools/registry/json.h"

namespace tools {

namespace {

constexpr char kFormat[] = "morla registry export";
constexpr int kVersion = 1;

Json PathToJson(const KeyPath& path) {
    Json json = Json::array();
    for (const std::string& name : path) {
        Json named;
        json_text::SetText(named, "name", name);
        json.push_back(named.contains("name") ? named["name"] : named);
    }
    return json;
}

bool PathFromJson(const Json& json, KeyPath& path) {
    if (!json.is_array()) {
        return false;
    }
    for (const Json& element : json) {
        std::string name;
        const Json named = element.is_object() ? element : Json{{"name", element}};
        if (!json_text::GetText(named, "name", name)) {
            return false;
        }
        path.push_back(name);
    }
    return true;
}

Json KeyToJson(const ExportedKey& key) {
    Json json;
    json["path"] = PathToJson(key.Path);
    if (key.IsNameOnly) {
        return json;
    }
    json["values"] = Json::array();
    for (const auto& [name, value] : key.Values) {
        json["values"].push_back(ValueToJson(name, value));
    }
    return json;
}

bool KeyFromJson(const Json& json, ExportedKey& key) {
    if (!json.is_object() || !json.contains("path") || !json.contains("values") ||
        !PathFromJson(json["path"], key.Path) || !json["values"].is_array()) {
        return false;
    }
    for (const Json& element : json["values"]) {
        auto& [name, value] = key.Values.emplace_back();
        if (!ValueFromJson(element, name, value)) {
            return false;
        }
    }
    return true;
}

bool IsExport(const Json& json) {
    std::string format;
    return json.is_object() && json_text::GetText(json, "format", format) && format == kFormat &&
           json.contains("version") && json["version"] == kVersion && json.contains("path") &&
           json.contains("keys") && json["keys"].is_array();
}

}  // namespace

bool CollectKeys(const CRegistryNodeRef& key, bool isRecursive, RegistryExport& tree) {
    const auto add = [&tree](const KeyPath& path, const KeyContents& contents) {
        tree.Keys.push_back({path, contents.Values, false});
    };
    if (isRecursive) {
        return WalkKeys(key, add);
    }
    const KeyContents contents = ReadKey(*key);
    add({}, contents);
    for (const auto& [name, node] : contents.Subkeys) {
        tree.Keys.push_back({{name}, {}, true});
    }
    return true;
}

Json ExportToJson(const RegistryExport& tree) {
    Json json;
    json["format"] = kFormat;
    json["version"] = kVersion;
    json["path"] = PathToJson(tree.Path);
    json["keys"] = Json::array();
    for (const ExportedKey& key : tree.Keys) {
        json["keys"].push_back(KeyToJson(key));
    }
    return json;
}

bool ParseExport(const std::string& text, RegistryExport& tree, std::string& problem) {
    const Json json = Json::parse(text, nullptr, false);
    if (json.is_discarded()) {
        problem = "it is not JSON";
        return false;
    }
    if (!IsExport(json) || !PathFromJson(json["path"], tree.Path)) {
        problem = "it is not an export of version 1";
        return false;
    }
    for (const Json& element : json["keys"]) {
        if (!KeyFromJson(element, tree.Keys.emplace_back())) {
            problem = "key " + std::to_string(tree.Keys.size()) + " of its list is malformed";
            return false;
        }
    }
    return true;
}

}  // namespace tools

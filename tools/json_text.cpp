#include "tools/json_text.h"

#include "tools/text_safety.h"

namespace tools {

namespace {
constexpr char kHexSuffix[] = "_hex";
}  // namespace

void SetText(Json& object, const std::string& field, std::string_view text) {
    if (IsUtf8(text)) {
        object[field] = text;
    } else {
        object[field + kHexSuffix] = Hex(text);
    }
}

bool GetText(const Json& object, const std::string& field, std::string& text) {
    const auto plain = object.find(field);
    if (plain != object.end()) {
        if (!plain->is_string()) {
            return false;
        }
        text = plain->get<std::string>();
        return true;
    }
    const auto hex = object.find(field + kHexSuffix);
    return hex != object.end() && hex->is_string() && ParseHex(hex->get<std::string>(), text);
}

std::string Dump(const Json& json) {
    constexpr int kIndent = 2;
    return json.dump(kIndent, ' ', true);
}

}  // namespace tools

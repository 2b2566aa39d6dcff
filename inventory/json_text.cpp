#include "inventory/json_text.h"

#include "base/text_safety.h"

namespace json_text {

namespace {
constexpr char kHexSuffix[] = "_hex";
}  // namespace

void SetText(Json& object, const std::string& field, std::string_view text) {
    if (text::IsUtf8(text)) {
        object[field] = text;
    } else {
        object[field + kHexSuffix] = text::Hex(text);
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
    return hex != object.end() && hex->is_string() && text::ParseHex(hex->get<std::string>(), text);
}

std::string Dump(const Json& json) {
    constexpr int kIndent = 2;
    return json.dump(kIndent, ' ', true);
}

}  // namespace json_text

// Bytes as JSON text without loss: a text that is not UTF-8 is written in hexadecimal.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace json_text {

using Json = nlohmann::ordered_json;  // fields stay in the order in which they are set

// Sets `field` to the text, or, when it is not UTF-8, the field "<field>_hex" to its bytes.
void SetText(Json& object, const std::string& field, std::string_view text);

// Reads what SetText wrote. False when neither field is there, or it is no text.
[[nodiscard]] bool GetText(const Json& object, const std::string& field, std::string& text);

// Indented, in ASCII, so that it is safe for terminals and log files.
[[nodiscard]] std::string Dump(const Json& json);

}  // namespace json_text

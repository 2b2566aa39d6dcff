// How absent values, findings and foreign text stand in the JSON of an inventory.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/text_safety.h"
#include "hardware/finding.h"
#include "inventory/json_text.h"

namespace inventory {

using json_text::Json;

// Each byte that is not UTF-8 becomes U+FFFD. Null when there is no text.
[[nodiscard]] inline Json TextOrNull(const std::string& bytes) {
    return bytes.empty() ? Json() : Json(text::ReplaceMalformed(bytes));
}
[[nodiscard]] inline Json TextOrNull(const std::optional<std::string>& bytes) {
    return bytes ? TextOrNull(*bytes) : Json();
}
template <typename Number>
[[nodiscard]] Json NumberOrNull(const std::optional<Number>& number) {
    return number ? Json(*number) : Json();
}
// So many lower-case digits at least, without "0x".
[[nodiscard]] std::string HexDigits(std::uint64_t number, int digits);
// The same behind "0x": numbers of 64 bits, which readers of JSON may round.
[[nodiscard]] std::string HexNumber(std::uint64_t number, int digits = 1);

[[nodiscard]] inline Json ToJson(const std::string& found) {
    return Json(text::ReplaceMalformed(found));
}
template <typename Value>
[[nodiscard]] Json ToJson(const Value& found) {
    return Json(found);
}
// Null, and the field "<field>_reason" beside it, when there is no value.
template <typename Value>
void SetFinding(Json& object, const std::string& field, const CFinding<Value>& finding) {
    object[field] = finding.IsKnown() ? ToJson(finding.Get()) : Json();
    if (!finding.IsKnown()) {
        object[field + "_reason"] = TextOrNull(finding.Reason());
    }
}

}  // namespace inventory

// One value of the registry outside the tree: as it is printed, parsed, kept in JSON, and saved.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/str_map.h"
#include "inventory/json_text.h"
#include "os/registry_data.h"

namespace tools {

using json_text::Json;

struct RegistryValue {
    std::uint32_t Type = 0;    // kRegSz, kRegExpandSz, kRegBinary or kRegDword
    std::string Bytes;         // a text without terminator, or binary bytes
    std::uint32_t Number = 0;  // kRegDword only

    bool operator==(const RegistryValue&) const = default;
};

// False when the row is a subkey, or holds no data. The caller holds the lock of the row's table.
[[nodiscard]] bool ReadRow(const StrMapRow& row, RegistryValue& value);

// A copy of the value, for a table. Throws std::bad_alloc.
[[nodiscard]] CRegistryData MakeData(const RegistryValue& value);

// "string", "expand", "binary" and "dword".
[[nodiscard]] const char* TypeName(std::uint32_t type);
[[nodiscard]] bool ParseTypeName(std::string_view name, std::uint32_t& type);

// A text as it is, a number in decimal, bytes as hexadecimal pairs with blanks between.
[[nodiscard]] std::string PrintData(const RegistryValue& value);
// The reverse. A number may also be hexadecimal (0x) or negative, pairs may stand without blanks.
// False, with `value` unchanged, when the text is none of that type.
[[nodiscard]] bool ParseData(std::uint32_t type, std::string_view text, RegistryValue& value);

// {"name", "type", "value"}: texts without loss (json_text.h), bytes as hexadecimal pairs.
[[nodiscard]] Json ValueToJson(const std::string& name, const RegistryValue& value);
[[nodiscard]] bool ValueFromJson(const Json& json, std::string& name, RegistryValue& value);

// Whether the value, or a subkey of that name, is the same after a save and the next reading. The
// tree file has no escapes and its lines are limited. Pure: a small tree is written and read back.
[[nodiscard]] bool SurvivesSave(const std::string& name, const RegistryValue& value);
[[nodiscard]] bool KeySurvivesSave(const std::string& name);

}  // namespace tools

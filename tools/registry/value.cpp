#include "tools/registry/value.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <limits>
#include <span>
#include <utility>

#include "base/text_safety.h"
#include "os/registry_node.h"

namespace tools {

namespace {

constexpr std::array<std::pair<std::uint32_t, const char*>, 4> kTypes = {{
    {kRegSz, "string"},
    {kRegExpandSz, "expand"},
    {kRegBinary, "binary"},
    {kRegDword, "dword"},
}};

bool IsNumber(std::int64_t number) {
    return number >= std::numeric_limits<std::int32_t>::min() &&
           number <= std::numeric_limits<std::uint32_t>::max();
}

bool ParseNumber(std::string_view text, std::uint32_t& number) {
    constexpr int kDecimal = 10;
    constexpr int kHexadecimal = 16;
    const bool isHex = text.starts_with("0x");
    const std::string_view digits = text.substr(isHex ? 2 : 0);
    const char* const end = digits.data() + digits.size();
    std::int64_t wide = 0;
    const auto [stop, error] =
        std::from_chars(digits.data(), end, wide, isHex ? kHexadecimal : kDecimal);
    if (error != std::errc() || stop != end || !IsNumber(wide) || (isHex && wide < 0)) {
        return false;
    }
    number = static_cast<std::uint32_t>(wide);
    return true;
}

std::span<const unsigned char> AsBytes(const std::string& text) {
    return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

// Writes the node and reads the text into another one, which must then hold one entry. A line that
// is too long fails even where its pieces do no harm here: they may close a key early elsewhere.
bool WriteAndRead(CRegistryNode& written, CRegistryNode& read) {
    constexpr std::size_t kLineMax = 1022;  // characters, without the line feed
    std::string text;
    written.dumpNode(text);
    for (std::string_view rest = text; !rest.empty();) {
        const std::size_t length = rest.find('\n');
        if (length > kLineMax) {
            return false;
        }
        rest.remove_prefix(length + 1);
    }
    (void)read.restoreNode(text);
    return read.Count() == 1;
}

}  // namespace

bool ReadRow(const StrMapRow& row, RegistryValue& value) {
    RegistryValue result;
    result.Type = row.Type;
    if (row.Type == kRegDword) {
        result.Number = RegistryNumberOf(row);
    } else if (row.Data != nullptr && IsRegistryText(row.Type)) {
        result.Bytes = RegistryTextOf(row);
    } else if (row.Data != nullptr && row.Type == kRegBinary) {
        const std::span<const unsigned char> bytes = RegistryBinaryOf(row);
        result.Bytes.assign(bytes.begin(), bytes.end());
    } else {
        return false;
    }
    value = std::move(result);
    return true;
}

CRegistryData MakeData(const RegistryValue& value) {
    switch (value.Type) {
    case kRegDword: return CRegistryData::MakeNumber(value.Number);
    case kRegBinary: return CRegistryData::MakeBinary(AsBytes(value.Bytes));
    default: return CRegistryData::MakeText(value.Type, value.Bytes);
    }
}

const char* TypeName(std::uint32_t type) {
    for (const auto& [number, name] : kTypes) {
        if (number == type) {
            return name;
        }
    }
    return "unknown";
}

bool ParseTypeName(std::string_view name, std::uint32_t& type) {
    for (const auto& [number, known] : kTypes) {
        if (name == known) {
            type = number;
            return true;
        }
    }
    return false;
}

std::string PrintData(const RegistryValue& value) {
    if (value.Type == kRegDword) {
        return std::to_string(value.Number);
    }
    if (value.Type != kRegBinary) {
        return value.Bytes;
    }
    std::string pairs;
    for (const char byte : value.Bytes) {
        pairs += pairs.empty() ? "" : " ";
        pairs += text::Hex({&byte, 1});
    }
    return pairs;
}

bool ParseData(std::uint32_t type, std::string_view text, RegistryValue& value) {
    RegistryValue result;
    result.Type = type;
    if (type == kRegDword) {
        if (!ParseNumber(text, result.Number)) {
            return false;
        }
    } else if (type == kRegBinary) {
        std::string digits(text);
        std::erase(digits, ' ');
        if (!text::ParseHex(digits, result.Bytes)) {
            return false;
        }
    } else {
        result.Bytes = text;
    }
    value = std::move(result);
    return true;
}

Json ValueToJson(const std::string& name, const RegistryValue& value) {
    Json json;
    json_text::SetText(json, "name", name);
    json["type"] = TypeName(value.Type);
    if (value.Type == kRegDword) {
        json["value"] = value.Number;
    } else if (value.Type == kRegBinary) {
        json["value"] = text::Hex(value.Bytes);
    } else {
        json_text::SetText(json, "value", value.Bytes);
    }
    return json;
}

bool ValueFromJson(const Json& json, std::string& name, RegistryValue& value) {
    std::string type;
    RegistryValue result;
    if (!json.is_object() || !json_text::GetText(json, "name", name) ||
        !json_text::GetText(json, "type", type) || !ParseTypeName(type, result.Type)) {
        return false;
    }
    if (result.Type == kRegDword) {
        const auto number = json.find("value");
        if (number == json.end() || !number->is_number_integer() ||
            !ParseNumber(number->dump(), result.Number)) {
            return false;
        }
    } else if (!json_text::GetText(json, "value", result.Bytes) ||
               (result.Type == kRegBinary && !text::ParseHex(result.Bytes, result.Bytes))) {
        return false;
    }
    value = std::move(result);
    return true;
}

bool SurvivesSave(const std::string& name, const RegistryValue& value) {
    CRegistryNode written;
    CRegistryNode read;
    CRegistryData data = MakeData(value);
    (void)written.Store(name.c_str(), data);
    if (!WriteAndRead(written, read)) {
        return false;
    }
    const StrMapRow& row = *read.RowAt(0);
    RegistryValue after;
    return row.Name == name && ReadRow(row, after) && after == value;
}

bool KeySurvivesSave(const std::string& name) {
    CRegistryNode written;
    CRegistryNode read;
    bool isNew = false;
    const CRegistryNodeRef key = written.FindOrAddSubkey(name.c_str(), isNew);
    return WriteAndRead(written, read) && read.RowAt(0)->Name == name &&
           read.RowAt(0)->Type == kRegSubkey;
}

}  // namespace tools

#include "os/registry_line.h"

#include <algorithm>
#include <cstdlib>

#include "base/bounded_text.h"

namespace {

constexpr int kNoDigit = -1;

int HexDigit(char character) {
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    if (character >= 'a' && character <= 'f') {
        return character - 'a' + 10;
    }
    return kNoDigit;
}

// Reads the next number of a binary line as strtol does, and moves `text` behind it.
bool NextByte(const char*& text, unsigned char& byte) {
    const char* digits = *text == ' ' ? text + 1 : text;
    const int high = HexDigit(*digits);
    const int low = high == kNoDigit ? kNoDigit : HexDigit(digits[1]);
    if (low != kNoDigit && (digits[2] == ' ' || digits[2] == '\0')) {  // as they are written
        byte = static_cast<unsigned char>(high * 16 + low);
        text = digits + 2;
        return true;
    }
    char* end = nullptr;
    const long number = std::strtol(text, &end, 16);
    if (end == text) {
        return false;
    }
    byte = static_cast<unsigned char>(number);
    text = end;
    return true;
}

CRegistryData ParseBinary(const char* text) {
    unsigned char bytes[kRegistryLineMax];  // a number takes at least one character
    std::size_t count = 0;
    while (count < sizeof bytes && NextByte(text, bytes[count])) {
        ++count;
    }
    return CRegistryData::MakeBinary({bytes, count});
}

}  // namespace

bool CRegistryLines::Next(std::string_view& line) {
    if (m_Rest.empty()) {
        return false;
    }
    line = m_Rest.substr(0, kRegistryLineMax);
    const std::size_t feed = line.find('\n');
    line = line.substr(0, feed);
    m_Rest.remove_prefix(feed == std::string_view::npos ? line.size() : feed + 1);
    line = line.substr(0, line.find('\0'));
    return true;
}

RegistryLine ParseRegistryLine(std::string_view line) {
    using Kind = RegistryLine::Kind;
    struct Tag {
        std::string_view Text;
        std::uint32_t Type;
    };
    static constexpr Tag kTags[] = {
        {"=s=", kRegSz}, {"=es=", kRegExpandSz}, {"=d=", kRegDword}, {"=b=", kRegBinary}};

    if (line.empty()) {
        return {Kind::End, {}, 0, {}};
    }
    if (line.front() == '[') {
        const std::size_t bracket = line.find(']');
        if (bracket != std::string_view::npos) {
            return {Kind::Subkey, line.substr(1, bracket - 1), kRegSubkey, {}};
        }
    }
    const std::size_t equals = std::min(line.find('='), line.size());
    const std::string_view rest = line.substr(equals);
    for (const Tag& tag : kTags) {
        if (rest.starts_with(tag.Text)) {
            return {Kind::Value, line.substr(0, equals), tag.Type, rest.substr(tag.Text.size())};
        }
    }
    return {Kind::Ignored, {}, 0, {}};
}

CRegistryData ParseRegistryData(const RegistryLine& line) {
    if (IsRegistryText(line.Type)) {
        return CRegistryData::MakeText(line.Type, line.Data);
    }
    char text[kRegistryLineMax + 1];
    (void)CopyText(text, line.Data);
    if (line.Type == kRegBinary) {
        return ParseBinary(text);
    }
    return CRegistryData::MakeNumber(static_cast<std::uint32_t>(std::strtol(text, nullptr, 10)));
}

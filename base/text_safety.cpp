#include "base/text_safety.h"

#include <array>

namespace text {

namespace {

constexpr std::string_view kDigits = "0123456789abcdef";

unsigned int Byte(char character) {
    return static_cast<unsigned char>(character);
}

void AppendHex(std::string& out, char byte) {
    constexpr unsigned int kDigitBits = 4;
    constexpr unsigned int kDigitMask = 0xF;
    out += kDigits[Byte(byte) >> kDigitBits];
    out += kDigits[Byte(byte) & kDigitMask];
}

// One row of the Unicode Standard's table of well-formed byte sequences: the range of the first
// byte, of the second byte, and the length. Further bytes are 80 to BF.
struct Utf8Row {
    unsigned int FirstLow, FirstHigh, SecondLow, SecondHigh;
    std::size_t Length;
};
constexpr std::array<Utf8Row, 8> kUtf8Rows = {{
    {0xC2, 0xDF, 0x80, 0xBF, 2},
    {0xE0, 0xE0, 0xA0, 0xBF, 3},
    {0xE1, 0xEC, 0x80, 0xBF, 3},
    {0xED, 0xED, 0x80, 0x9F, 3},
    {0xEE, 0xEF, 0x80, 0xBF, 3},
    {0xF0, 0xF0, 0x90, 0xBF, 4},
    {0xF1, 0xF3, 0x80, 0xBF, 4},
    {0xF4, 0xF4, 0x80, 0x8F, 4},
}};

bool IsInRow(const Utf8Row& row, std::string_view text) {
    constexpr unsigned int kTailMask = 0xC0;
    constexpr unsigned int kTailMark = 0x80;
    if (text.size() < row.Length || Byte(text[0]) < row.FirstLow || Byte(text[0]) > row.FirstHigh ||
        Byte(text[1]) < row.SecondLow || Byte(text[1]) > row.SecondHigh) {
        return false;
    }
    for (std::size_t i = 2; i < row.Length; ++i) {
        if ((Byte(text[i]) & kTailMask) != kTailMark) {
            return false;
        }
    }
    return true;
}

// Whether that well-formed character is one that a terminal may obey: controls, and the marks that
// break a line or change the direction of writing (U+200E, U+200F, U+2028 to U+202E, U+2066 to
// U+2069).
bool IsControl(std::string_view character) {
    const unsigned int first = Byte(character[0]);
    if (first == 0xE2) {
        const unsigned int last = Byte(character[2]);
        return (Byte(character[1]) == 0x80 &&
                (last == 0x8E || last == 0x8F || (last >= 0xA8 && last <= 0xAE))) ||
               (Byte(character[1]) == 0x81 && last >= 0xA6 && last <= 0xA9);
    }
    return first < 0x20 || first == 0x7F || (first == 0xC2 && Byte(character[1]) < 0xA0);
}

// The value of a digit; 16 and more when it is none.
std::size_t DigitValue(char digit) {
    const char lower = digit >= 'A' && digit <= 'F' ? static_cast<char>(digit - 'A' + 'a') : digit;
    return kDigits.find(lower);
}

}  // namespace

std::size_t Utf8CharacterLength(std::string_view text) {
    if (text.empty()) {
        return 0;
    }
    if (Byte(text[0]) < 0x80) {
        return 1;
    }
    for (const Utf8Row& row : kUtf8Rows) {
        if (IsInRow(row, text)) {
            return row.Length;
        }
    }
    return 0;
}

bool IsUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = Utf8CharacterLength(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

std::string EscapeControls(std::string_view text) {
    std::string safe;
    while (!text.empty()) {
        const std::size_t known = Utf8CharacterLength(text);
        const std::string_view character = text.substr(0, known == 0 ? 1 : known);
        if (known != 0 && !IsControl(character)) {
            safe += character;
        } else {
            for (const char byte : character) {
                safe += "\\x";
                AppendHex(safe, byte);
            }
        }
        text.remove_prefix(character.size());
    }
    return safe;
}

std::string ReplaceMalformed(std::string_view text) {
    std::string replaced;
    while (!text.empty()) {
        const std::size_t known = Utf8CharacterLength(text);
        replaced += known != 0 ? text.substr(0, known) : "\xEF\xBF\xBD";
        text.remove_prefix(known != 0 ? known : 1);
    }
    return replaced;
}

std::string Hex(std::string_view bytes) {
    std::string digits;
    digits.reserve(2 * bytes.size());
    for (const char byte : bytes) {
        AppendHex(digits, byte);
    }
    return digits;
}

bool ParseHex(std::string_view digits, std::string& bytes) {
    constexpr std::size_t kBase = 16;
    std::string result;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        const std::size_t high = DigitValue(digits[i]);
        const std::size_t low = i + 1 < digits.size() ? DigitValue(digits[i + 1]) : kBase;
        if (high >= kBase || low >= kBase) {
            return false;
        }
        result += static_cast<char>(high * kBase + low);
    }
    bytes = std::move(result);
    return true;
}

}  // namespace text

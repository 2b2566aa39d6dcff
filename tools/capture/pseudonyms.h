// Replacements for serial numbers and the like: of the same shape, chosen at random, and the same
// for the same original as long as the object lives. They tell nothing about the original.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace tools {

class CPseudonyms {
public:
    // A text: each digit becomes a digit, each letter one of its case, other bytes stay. So does a
    // text of one character over and over ("00000000"), which means that there is none.
    [[nodiscard]] std::string OfText(std::string_view text);
    // Hexadecimal digits, by which the number is known however it is written: with separators,
    // which stay, and in either case, which stays. The first `kept` digits stay. All zeros and all
    // ones, which mean that there is none, stay.
    [[nodiscard]] std::string OfHex(std::string_view text, std::size_t kept = 0);
    // Bytes, by their digits.
    [[nodiscard]] std::string OfBytes(std::string_view bytes, std::size_t keptDigits = 0);

    // Replaces every original that is known until now and is unlikely to stand there by chance, and
    // every UUID. The length stays.
    [[nodiscard]] std::string ReplaceIn(std::string text);

private:
    void ReplaceUuids(std::string& text);

    std::map<std::string, std::string> m_Texts;
    std::map<std::string, std::string> m_Digits;  // lower-case, without separators
};

}  // namespace tools

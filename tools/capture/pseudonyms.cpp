#include "tools/capture/pseudonyms.h"

#include <sys/random.h>

#include <algorithm>
#include <cctype>
#include <set>
#include <stdexcept>

#include "base/text_safety.h"

namespace tools {

namespace {

bool IsDigit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}
bool IsHexDigit(char c) {
    return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}
bool IsUpper(char c) {
    return std::isupper(static_cast<unsigned char>(c)) != 0;
}
char ToLower(char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}
char ToUpper(char c) {
    return static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
}

char RandomOf(std::string_view choice) {
    std::uint32_t number = 0;
    if (getrandom(&number, sizeof number, 0) != static_cast<ssize_t>(sizeof number)) {
        throw std::runtime_error("the system gives no random numbers");
    }
    return choice[number % choice.size()];
}

char RandomLike(char original) {
    if (IsDigit(original)) {
        return RandomOf("0123456789");
    }
    if (std::isalpha(static_cast<unsigned char>(original)) == 0) {
        return original;
    }
    const char letter = RandomOf("abcdefghijklmnopqrstuvwxyz");
    return IsUpper(original) ? ToUpper(letter) : letter;
}

// The replacement that is known, or a new one that no other original has.
template <typename Make>
const std::string& FindOrMake(std::map<std::string, std::string>& known,
                              const std::string& original, const Make& make) {
    constexpr int kTries = 100;  // short ones may run out
    const auto found = known.find(original);
    if (found != known.end()) {
        return found->second;
    }
    std::string made = make();
    const auto isTaken = [&] {
        return made == original || std::any_of(known.begin(), known.end(), [&](const auto& pair) {
                   return pair.second == made;
               });
    };
    for (int i = 0; i < kTries && isTaken(); ++i) {
        made = make();
    }
    return known.emplace(original, std::move(made)).first->second;
}

// Whether such a text stands somewhere for nothing else.
bool IsTelling(const std::string& original) {
    constexpr std::size_t kMixedMin = 6;
    constexpr std::size_t kDigitsMin = 10;
    constexpr std::size_t kDifferentMin = 4;
    const bool hasDigit = std::any_of(original.begin(), original.end(), IsDigit);
    const bool hasOther = !std::all_of(original.begin(), original.end(), IsDigit);
    const std::set<char> different(original.begin(), original.end());
    return hasDigit && different.size() >= kDifferentMin &&
           original.size() >= (hasOther ? kMixedMin : kDigitsMin);
}

// The bytes at `at` with these digits, in the case that they have.
void PutDigits(std::string& text, std::size_t at, const std::string& digits) {
    for (const char digit : digits) {
        while (!IsHexDigit(text[at])) {
            ++at;
        }
        text[at] = IsUpper(text[at]) ? ToUpper(digit) : digit;
        ++at;
    }
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), ToLower);
    return text;
}

// Whether digits in the groups of a UUID stand at `at`, and nothing of the kind around them.
bool IsUuidAt(const std::string& text, std::size_t at) {
    constexpr std::string_view kForm = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
    if (text.size() - at < kForm.size() || (at > 0 && IsHexDigit(text[at - 1])) ||
        (at + kForm.size() < text.size() && IsHexDigit(text[at + kForm.size()]))) {
        return false;
    }
    for (std::size_t i = 0; i < kForm.size(); ++i) {
        if (kForm[i] == 'x' ? !IsHexDigit(text[at + i]) : text[at + i] != '-') {
            return false;
        }
    }
    return true;
}

}  // namespace

std::string CPseudonyms::OfText(std::string_view text) {
    std::string original(text);
    if (original.find_first_not_of(original.substr(0, 1)) == std::string::npos) {
        return original;
    }
    return FindOrMake(m_Texts, original, [&] {
        std::string made = original;
        std::transform(made.begin(), made.end(), made.begin(), RandomLike);
        return made;
    });
}

std::string CPseudonyms::OfHex(std::string_view text, std::size_t kept) {
    std::string digits;
    std::copy_if(text.begin(), text.end(), std::back_inserter(digits), IsHexDigit);
    digits = Lower(digits);
    if (digits.find_first_not_of('0') == std::string::npos ||
        digits.find_first_not_of('f') == std::string::npos) {
        return std::string(text);
    }
    const std::string& made = FindOrMake(m_Digits, digits, [&] {
        std::string random = digits;
        for (std::size_t i = std::min(kept, random.size()); i < random.size(); ++i) {
            random[i] = RandomOf("0123456789abcdef");
        }
        return random;
    });
    std::string result(text);
    PutDigits(result, 0, made);
    return result;
}

std::string CPseudonyms::OfBytes(std::string_view bytes, std::size_t keptDigits) {
    std::string result;
    return text::ParseHex(OfHex(text::Hex(bytes), keptDigits), result) ? result
                                                                       : std::string(bytes);
}

void CPseudonyms::ReplaceUuids(std::string& text) {
    constexpr std::size_t kLength = 36;
    for (std::size_t at = text.find('-'); at != std::string::npos; at = text.find('-', at + 1)) {
        constexpr std::size_t kFirstGroup = 8;
        if (at >= kFirstGroup && IsUuidAt(text, at - kFirstGroup)) {
            const std::string_view uuid = std::string_view(text).substr(at - kFirstGroup, kLength);
            text.replace(at - kFirstGroup, kLength, OfHex(uuid));
            at += kLength - kFirstGroup - 1;
        }
    }
}

std::string CPseudonyms::ReplaceIn(std::string text) {
    for (const auto& [original, made] : m_Texts) {
        if (!IsTelling(original)) {
            continue;
        }
        for (std::size_t at = text.find(original); at != std::string::npos;
             at = text.find(original, at + original.size())) {
            text.replace(at, original.size(), made);
        }
    }
    const std::string lower = Lower(text);
    for (const auto& [original, made] : m_Digits) {
        if (!IsTelling(original)) {
            continue;
        }
        for (std::size_t at = lower.find(original); at != std::string::npos;
             at = lower.find(original, at + original.size())) {
            PutDigits(text, at, made);
        }
    }
    ReplaceUuids(text);
    return text;
}

}  // namespace tools

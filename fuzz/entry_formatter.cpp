// The formatter of trace entries, held to vsnprintf byte for byte and in its result.
//
// Input: the buffer's size, a number and a text on a line each, then the format. Each conversion of
// the format is given a value that fits it; a format with a conversion that is not known here, and
// so without a value that would be sure to fit, is left out.
#include "trace/entry_formatter.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "fuzz/input.h"

namespace {

constexpr std::size_t kLargestBuffer = 2048;
constexpr std::size_t kValues = 6;
constexpr std::size_t kFloats = 3;

// Every value is a 64-bit register or stack slot, whatever the conversion takes of it; floating
// point has registers of its own.
using Values = std::uint64_t[kValues];

// One kind for each conversion: 's' a text, 'f' floating point, 'd' a number or pointer; 0 when it
// is not known.
char KindOf(char letter) {
    if (letter != '\0' && std::strchr("diuoxXcp", letter) != nullptr) {
        return 'd';
    }
    if (letter != '\0' && std::strchr("eEfFgGaA", letter) != nullptr) {
        return 'f';
    }
    return letter == 's' ? 's' : '\0';
}

// Fills in the values that the format takes. False when it cannot be given any.
bool ChooseValues(const std::string& format, const char* text, std::uint64_t number,
                  Values& values) {
    std::size_t next = 0;
    std::size_t floats = 0;
    for (const char* c = format.c_str(); *c != '\0'; ++c) {
        if (*c != '%') {
            continue;
        }
        ++c;
        if (*c == '%') {
            continue;
        }
        c += std::strspn(c, "-0+ #'");
        c += std::strspn(c, "0123456789");
        c += *c == '.' ? 1 + std::strspn(c + 1, "0123456789") : 0;
        const std::size_t modifiers = std::strspn(c, "hlz");
        if (modifiers > 2 || (modifiers == 2 && (c[0] != c[1] || c[0] == 'z'))) {
            return false;
        }
        c += modifiers;
        const char kind = KindOf(*c);
        if (kind == '\0' || ((kind != 'd' || *c == 'c') && modifiers != 0)) {
            return false;  // a wide text or letter has other rules
        }
        if (kind == 'f') {
            if (++floats > kFloats) {
                return false;
            }
            continue;
        }
        if (next == kValues) {
            return false;
        }
        values[next] = kind == 's' ? reinterpret_cast<std::uint64_t>(text) : number;
        number = number * 0x9E3779B97F4A7C15U + next;
        ++next;
    }
    return true;
}

// Widths and precisions of many digits would only cost time and memory.
bool HasLongNumber(const std::string& format) {
    std::size_t digits = 0;
    for (const char c : format) {
        digits = c >= '0' && c <= '9' ? digits + 1 : 0;
        if (digits > 4) {
            return true;
        }
    }
    return false;
}

using Formatter = int(char*, std::size_t, const char*, va_list);

int Format(Formatter formatter, char* buffer, std::size_t size, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int length = formatter(buffer, size, format, args);
    va_end(args);
    return length;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view input = fuzz::Text(data, size);
    const std::string sizeText(fuzz::TakeLine(input));
    const std::string numberText(fuzz::TakeLine(input));
    const std::string text(fuzz::TakeLine(input));
    const std::string format(input.substr(0, input.find('\0')));
    const std::size_t bufferSize =
        std::clamp<std::size_t>(std::strtoul(sizeText.c_str(), nullptr, 10), 1, kLargestBuffer);
    Values values{};
    const bool isNull = text == "null";
    if (HasLongNumber(format) ||
        !ChooseValues(format, isNull ? nullptr : text.c_str(),
                      std::strtoull(numberText.c_str(), nullptr, 0), values)) {
        return 0;
    }
    const auto ours = std::make_unique<char[]>(bufferSize);
    const auto theirs = std::make_unique<char[]>(bufferSize);
    const auto run = [&](Formatter formatter, char* buffer) {
        return Format(formatter, buffer, bufferSize, format.c_str(), values[0], values[1],
                      values[2], values[3], values[4], values[5], 0.5, -1e300, 3.0);
    };
    const int ourLength = run(trace::FormatMessage, ours.get());
    const int theirLength = run(std::vsnprintf, theirs.get());
    fuzz::Require(ourLength == theirLength, "the length is vsnprintf's");
    const std::size_t kept =
        std::min(static_cast<std::size_t>(std::max(theirLength, 0)) + 1, bufferSize);
    fuzz::Require(theirLength < 0 || std::memcmp(ours.get(), theirs.get(), kept) == 0,
                  "the text is vsnprintf's");
    return 0;
}

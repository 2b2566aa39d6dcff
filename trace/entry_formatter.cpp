// What is done: one pass over the format writes %% %c %s %d %i %u %x %X %p, with l, ll or z, with
// '-' or '0' and a width, straight to where they belong; a precision counts for %s. At the first
// conversion beyond that the whole message is handed to vsnprintf from the start: it is the only
// one that knows locales, floating point, errno, positions and its own refusals, and such calls are
// rare enough to pay twice. Of vsnprintf's 80 ns for a message of two numbers and a short string
// most goes into setting up a stream, the search for the next '%' by a library call and a table of
// jumps for each conversion; none of it is needed here.
//
// Why it may be trusted: fuzz/entry_formatter.cpp holds it to vsnprintf byte for byte and in its
// result, for buffers of every size.
#include "trace/entry_formatter.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace trace {

namespace {

constexpr std::size_t kWidthMax = 999;  // wider fields are vsnprintf's
constexpr std::size_t kDigitsMax = 22;  // of 64 bits in any base here, with sign or "0x"
constexpr std::size_t kNoPrecision = SIZE_MAX;

// The digits of numbers below 100, two each.
constexpr std::array<char, 200> kTwoDigits = [] {
    std::array<char, 200> digits{};
    for (std::size_t i = 0; i < 100; ++i) {
        digits[2 * i] = static_cast<char>('0' + i / 10);
        digits[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return digits;
}();

std::size_t CountDigits(std::uint64_t number) {
    std::size_t count = 1;
    for (; number >= 10'000; number /= 10'000) {
        count += 4;
    }
    return count + static_cast<std::size_t>(number >= 10) +
           static_cast<std::size_t>(number >= 100) + static_cast<std::size_t>(number >= 1'000);
}

// Writes the digits so that they end before `end`.
void WriteDigits(char* end, std::uint64_t number) {
    while (number >= 100) {
        end -= 2;
        std::memcpy(end, &kTwoDigits[2 * (number % 100)], 2);
        number /= 100;
    }
    if (number >= 10) {
        std::memcpy(end - 2, &kTwoDigits[2 * number], 2);
    } else {
        end[-1] = static_cast<char>('0' + number);
    }
}

// Short texts without a call: the two ends, which overlap.
void CopyShort(char* to, const char* from, std::size_t length) {
    if (length > 16) {
        std::memcpy(to, from, length);
    } else if (length >= 8) {
        std::memcpy(to, from, 8);
        std::memcpy(to + length - 8, from + length - 8, 8);
    } else if (length >= 4) {
        std::memcpy(to, from, 4);
        std::memcpy(to + length - 4, from + length - 4, 4);
    } else {
        for (std::size_t i = 0; i < length; ++i) {
            to[i] = from[i];
        }
    }
}

// Counts everything and keeps what fits.
class CMessageWriter {
public:
    CMessageWriter(char* buffer, std::size_t size) : m_Next(buffer), m_End(buffer + size - 1) {}

    void Put(std::string_view text) {
        const std::size_t kept = std::min(text.size(), Room());
        CopyShort(m_Next, text.data(), kept);
        m_Next += kept;
        m_Cut += text.size() - kept;
    }
    void Fill(char c, std::size_t count) {
        const std::size_t kept = std::min(count, Room());
        std::memset(m_Next, c, kept);
        m_Next += kept;
        m_Cut += count - kept;
    }
    void PutDecimal(std::uint64_t number) {
        const std::size_t length = CountDigits(number);
        if (length <= Room()) {
            m_Next += length;
            WriteDigits(m_Next, number);
        } else {
            char digits[kDigitsMax];
            WriteDigits(digits + length, number);
            Put({digits, length});
        }
    }
    // Copies the format up to its next '%' or its end, which is returned.
    const char* PutPlain(const char* format) {
        const char* end = format;
        while (*end != '%' && *end != '\0') {
            ++end;
        }
        Put({format, static_cast<std::size_t>(end - format)});
        return end;
    }
    // Ends the text; returns its whole length, of which `buffer` holds what fits.
    std::size_t Finish(const char* buffer) {
        *m_Next = '\0';
        return static_cast<std::size_t>(m_Next - buffer) + m_Cut;
    }

private:
    [[nodiscard]] std::size_t Room() const { return static_cast<std::size_t>(m_End - m_Next); }

    char* m_Next;
    char* m_End;  // the terminator's place is kept free
    std::size_t m_Cut = 0;
};

// A conversion as the format has it.
struct Conversion {
    bool IsLeft = false;
    bool IsZeroPadded = false;
    bool IsLong = false;  // 64 bits
    std::size_t Width = 0;
    std::size_t Precision = kNoPrecision;
    char Letter = 0;
};

// A decimal number of at most three digits; false when there are more.
bool ParseNumber(const char*& format, std::size_t& number) {
    number = 0;
    for (; *format >= '0' && *format <= '9'; ++format) {
        number = number * 10 + static_cast<std::size_t>(*format - '0');
        if (number > kWidthMax) {
            return false;
        }
    }
    return true;
}

// Reads what stands behind a '%' and moves behind the letter. False: not one of ours.
bool ParseConversion(const char*& format, Conversion& conversion) {
    for (;; ++format) {
        if (*format == '-') {
            conversion.IsLeft = true;
        } else if (*format == '0') {
            conversion.IsZeroPadded = true;
        } else {
            break;
        }
    }
    if (!ParseNumber(format, conversion.Width)) {
        return false;
    }
    if (*format == '.' && !ParseNumber(++format, conversion.Precision)) {
        return false;
    }
    if (*format == 'l' || *format == 'z') {
        conversion.IsLong = true;
        format += format[0] == 'l' && format[1] == 'l' ? 2 : 1;
    }
    conversion.Letter = *format++;
    return true;
}

void PutPadded(CMessageWriter& out, const Conversion& conversion, std::string_view text) {
    const std::size_t padding = text.size() < conversion.Width ? conversion.Width - text.size() : 0;
    if (!conversion.IsLeft) {
        out.Fill(' ', padding);
    }
    out.Put(text);
    if (conversion.IsLeft) {
        out.Fill(' ', padding);
    }
}

// A number whose digits stand behind its sign or "0x", zero padding between them.
void PutNumber(CMessageWriter& out, const Conversion& conversion, std::string_view prefix,
               std::string_view digits) {
    const std::size_t length = prefix.size() + digits.size();
    const std::size_t padding = length < conversion.Width ? conversion.Width - length : 0;
    const bool isZeroPadded = conversion.IsZeroPadded && !conversion.IsLeft;
    if (padding != 0 && !isZeroPadded && !conversion.IsLeft) {
        out.Fill(' ', padding);
    }
    out.Put(prefix);
    if (padding != 0 && isZeroPadded) {
        out.Fill('0', padding);
    }
    out.Put(digits);
    if (padding != 0 && conversion.IsLeft) {
        out.Fill(' ', padding);
    }
}

std::string_view Decimal(char (&buffer)[kDigitsMax], std::uint64_t number) {
    const std::size_t length = CountDigits(number);
    WriteDigits(buffer + length, number);
    return {static_cast<char*>(buffer), length};
}

std::string_view Hexadecimal(char (&buffer)[kDigitsMax], std::uint64_t number, const char* digits) {
    char* const end = buffer + kDigitsMax;
    char* first = end;
    do {
        *--first = digits[number % 16];
        number /= 16;
    } while (number != 0);
    return {first, static_cast<std::size_t>(end - first)};
}

constexpr char kLowerDigits[] = "0123456789abcdef";
constexpr char kUpperDigits[] = "0123456789ABCDEF";

void PutSigned(CMessageWriter& out, const Conversion& conversion, std::int64_t number) {
    char buffer[kDigitsMax];
    const auto bits = static_cast<std::uint64_t>(number);
    const bool isNegative = number < 0;
    PutNumber(out, conversion, isNegative ? "-" : "",
              Decimal(buffer, isNegative ? 0 - bits : bits));
}

void PutUnsigned(CMessageWriter& out, const Conversion& conversion, std::uint64_t number) {
    char buffer[kDigitsMax];
    PutNumber(
        out, conversion, "",
        conversion.Letter == 'u'
            ? Decimal(buffer, number)
            : Hexadecimal(buffer, number, conversion.Letter == 'x' ? kLowerDigits : kUpperDigits));
}

void PutString(CMessageWriter& out, const Conversion& conversion, const char* text) {
    const std::size_t length = conversion.Precision == kNoPrecision
                                   ? std::strlen(text)
                                   : strnlen(text, conversion.Precision);
    PutPadded(out, conversion, {text, length});
}

// What vsnprintf has rules of its own for.
bool IsCommon(const Conversion& conversion) {
    const bool isPlain = conversion.Precision == kNoPrecision;
    const bool isPlainWord = !conversion.IsLong && !conversion.IsZeroPadded;
    switch (conversion.Letter) {
    case 'd':
    case 'i':
    case 'u':
    case 'x':
    case 'X': return isPlain;
    case 's': return isPlainWord;
    case 'c':
    case 'p': return isPlain && isPlainWord;
    case '%': return isPlain && isPlainWord && conversion.Width == 0 && !conversion.IsLeft;
    default: return false;
    }
}

// A common conversion. False, with nothing written, for a null pointer: vsnprintf has words for it.
bool PutConversion(CMessageWriter& out, const Conversion& conversion, va_list& args) {
    switch (conversion.Letter) {
    case 'd':
    case 'i':
        PutSigned(out, conversion, conversion.IsLong ? va_arg(args, long) : va_arg(args, int));
        return true;
    case 's': {
        const char* const text = va_arg(args, const char*);
        if (text != nullptr) {
            PutString(out, conversion, text);
        }
        return text != nullptr;
    }
    case 'c': {
        const char letter = static_cast<char>(va_arg(args, int));
        PutPadded(out, conversion, {&letter, 1});
        return true;
    }
    case 'p': {
        char buffer[kDigitsMax];
        const auto address = reinterpret_cast<std::uintptr_t>(va_arg(args, void*));
        if (address != 0) {
            PutNumber(out, conversion, "0x", Hexadecimal(buffer, address, kLowerDigits));
        }
        return address != 0;
    }
    case '%': out.Put("%"); return true;
    default:
        PutUnsigned(out, conversion,
                    conversion.IsLong ? va_arg(args, unsigned long) : va_arg(args, unsigned int));
        return true;
    }
}

enum class Outcome { kDone, kNotBare, kNotCommon };

// The bare conversions, which need no look at flags and widths.
Outcome PutBare(CMessageWriter& out, char letter, va_list& args) {
    if (letter == 's') {
        const char* const text = va_arg(args, const char*);
        if (text == nullptr) {
            return Outcome::kNotCommon;
        }
        out.Put({text, std::strlen(text)});
        return Outcome::kDone;
    }
    if (letter == 'u') {
        out.PutDecimal(va_arg(args, unsigned int));
        return Outcome::kDone;
    }
    if (letter == 'd') {
        const std::int64_t number = va_arg(args, int);
        if (number < 0) {
            out.Put("-");
        }
        out.PutDecimal(static_cast<std::uint64_t>(number < 0 ? -number : number));
        return Outcome::kDone;
    }
    return Outcome::kNotBare;
}

// The message's length; kNotCommon when a conversion is one for vsnprintf: what is written then is
// the beginning of what vsnprintf writes. `args` is spent either way.
constexpr int kNotCommon = -1;
int FormatCommon(char* buffer, std::size_t size, const char* format, va_list& args) {
    CMessageWriter out(buffer, size);
    for (format = out.PutPlain(format); *format != '\0'; format = out.PutPlain(format)) {
        ++format;
        const Outcome bare = PutBare(out, *format, args);
        if (bare == Outcome::kDone) {
            ++format;
            continue;
        }
        Conversion conversion;
        if (bare == Outcome::kNotCommon || !ParseConversion(format, conversion) ||
            !IsCommon(conversion) || !PutConversion(out, conversion, args)) {
            return kNotCommon;
        }
    }
    const std::size_t length = out.Finish(buffer);
    return length <= INT_MAX ? static_cast<int>(length) : kNotCommon;
}

}  // namespace

int FormatMessage(char* buffer, std::size_t size, const char* format, va_list args) {
    va_list common;
    va_copy(common, args);
    int length = FormatCommon(buffer, size, format, common);
    va_end(common);
    if (length < 0) {
        length = std::vsnprintf(buffer, size, format, args);
    }
    return length;
}

}  // namespace trace

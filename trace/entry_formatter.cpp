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
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace trace {

namespace {

constexpr std::size_t kWidthMax = 999;    // wider fields are vsnprintf's
constexpr std::size_t kDigitsMax = 22;    // of 64 bits in any base here, with sign or "0x"
constexpr std::size_t kNoPrecision = SIZE_MAX;

// Counts everything and keeps what fits.
class CMessageWriter {
public:
    CMessageWriter(char* buffer, std::size_t size)
        : m_Next(buffer), m_End(buffer + size - 1), m_Cut(0) {}

    void Put(std::string_view text) {
        const std::size_t kept = std::min(text.size(), Room());
        std::memcpy(m_Next, text.data(), kept);
        m_Next += kept;
        m_Cut += text.size() - kept;
    }
    void Fill(char c, std::size_t count) {
        const std::size_t kept = std::min(count, Room());
        std::memset(m_Next, c, kept);
        m_Next += kept;
        m_Cut += count - kept;
    }
    // Copies the format up to its next '%' or its end, which is returned.
    const char* PutPlain(const char* format) {
        while (*format != '%' && *format != '\0') {
            if (m_Next == m_End) {
                const std::size_t rest = std::strcspn(format, "%");
                m_Cut += rest;
                return format + rest;
            }
            *m_Next++ = *format++;
        }
        return format;
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
    std::size_t m_Cut;
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
    const std::size_t padding =
        text.size() < conversion.Width ? conversion.Width - text.size() : 0;
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

// The digits of a number at the end of `buffer`.
std::string_view Decimal(char (&buffer)[kDigitsMax], std::uint64_t number) {
    char* const end = buffer + kDigitsMax;
    char* first = end;
    do {
        *--first = static_cast<char>('0' + number % 10);
        number /= 10;
    } while (number != 0);
    return {first, static_cast<std::size_t>(end - first)};
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
    PutNumber(out, conversion, isNegative ? "-" : "", Decimal(buffer, isNegative ? 0 - bits : bits));
}

void PutUnsigned(CMessageWriter& out, const Conversion& conversion, std::uint64_t number) {
    char buffer[kDigitsMax];
    PutNumber(out, conversion, "",
              conversion.Letter == 'u'
                  ? Decimal(buffer, number)
                  : Hexadecimal(buffer, number,
                                conversion.Letter == 'x' ? kLowerDigits : kUpperDigits));
}

void PutString(CMessageWriter& out, const Conversion& conversion, const char* text) {
    const std::size_t length = conversion.Precision == kNoPrecision
                                   ? std::strlen(text)
                                   : strnlen(text, conversion.Precision);
    PutPadded(out, conversion, {text, length});
}

// False: the conversion is one for vsnprintf.
bool PutConversion(CMessageWriter& out, const Conversion& conversion, va_list& args) {
    const bool isPlain = conversion.Precision == kNoPrecision;
    const bool isPlainWord = isPlain && !conversion.IsLong && !conversion.IsZeroPadded;
    switch (conversion.Letter) {
    case 'd':
    case 'i':
        PutSigned(out, conversion, conversion.IsLong ? va_arg(args, long) : va_arg(args, int));
        return isPlain;
    case 'u':
    case 'x':
    case 'X':
        PutUnsigned(out, conversion,
                    conversion.IsLong ? va_arg(args, unsigned long) : va_arg(args, unsigned int));
        return isPlain;
    case 's': {
        const char* const text = va_arg(args, const char*);
        if (text == nullptr || conversion.IsLong || conversion.IsZeroPadded) {
            return false;
        }
        PutString(out, conversion, text);
        return true;
    }
    case 'c': {
        const char letter = static_cast<char>(va_arg(args, int));
        PutPadded(out, conversion, {&letter, 1});
        return isPlainWord;
    }
    case 'p': {
        char buffer[kDigitsMax];
        const auto address = reinterpret_cast<std::uintptr_t>(va_arg(args, void*));
        PutNumber(out, conversion, "0x", Hexadecimal(buffer, address, kLowerDigits));
        return isPlainWord && address != 0;
    }
    case '%':
        out.Put("%");
        return isPlainWord && conversion.Width == 0 && !conversion.IsLeft;
    default: return false;
    }
}

// The message's length; none when a conversion is one for vsnprintf. `args` is spent either way.
int FormatCommon(char* buffer, std::size_t size, const char* format, va_list& args) {
    constexpr int kNotCommon = -1;
    CMessageWriter out(buffer, size);
    for (format = out.PutPlain(format); *format != '\0'; format = out.PutPlain(format)) {
        Conversion conversion;
        if (!ParseConversion(++format, conversion) || !PutConversion(out, conversion, args)) {
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

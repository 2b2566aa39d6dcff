#include "trace/entry_format.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

namespace trace {

namespace {

constexpr std::string_view kNoTime = "yyyy-mm-dd hh:mm:ss.mmm";
constexpr std::size_t kMillisecondsSize = 4;  // ".mmm"
constexpr std::size_t kSecondTextSize = 22;
constexpr std::size_t kUsualSecondLength = 19;  // "yyyy-mm-dd hh:mm:ss"

// Appends to a buffer and cuts what does not fit.
class CHeaderWriter {
public:
    CHeaderWriter(char* buffer, std::size_t size) : m_Next(buffer), m_End(buffer + size) {}

    void Put(char c) {
        if (m_Next != m_End) {
            *m_Next++ = c;
        }
    }
    void Put(std::string_view text) {
        const std::size_t length = std::min(text.size(), Room());
        if (length != 0) {
            std::memcpy(m_Next, text.data(), length);
            m_Next += length;
        }
    }
    void Fill(char c, std::size_t count) {
        const std::size_t length = std::min(count, Room());
        std::memset(m_Next, c, length);
        m_Next += length;
    }
    void PutLeftAligned(std::string_view text, std::size_t width) {
        Put(text);
        Fill(' ', text.size() < width ? width - text.size() : 0);
    }
    void PutRightAligned(std::size_t number, std::size_t width) {
        std::array<char, 20> digits{};
        const auto result = std::to_chars(digits.begin(), digits.end(), number);
        const auto length = static_cast<std::size_t>(result.ptr - digits.data());
        Fill(' ', length < width ? width - length : 0);
        Put(std::string_view(digits.data(), length));
    }
    void PutHex(std::uint32_t number) {
        constexpr char kDigits[] = "0123456789ABCDEF";
        std::array<char, 8> text{};
        unsigned int shift = 32;
        for (char& digit : text) {
            shift -= 4;
            digit = kDigits[number >> shift & 0xFU];
        }
        Put(std::string_view(text.data(), text.size()));
    }
    [[nodiscard]] std::size_t Room() const { return static_cast<std::size_t>(m_End - m_Next); }

private:
    char* m_Next;
    char* m_End;
};

// ".mmm"
void WriteMilliseconds(char* text, const timespec& now) {
    const auto milliseconds = static_cast<unsigned int>(now.tv_nsec / 1'000'000);
    text[0] = '.';
    text[1] = static_cast<char>('0' + milliseconds / 100);
    text[2] = static_cast<char>('0' + milliseconds / 10 % 10);
    text[3] = static_cast<char>('0' + milliseconds % 10);
}

}  // namespace

std::string_view CEntryClock::Format(const timespec& now) {
    if (!m_HasSecond || now.tv_sec != m_Second) {
        tm local{};
        m_HasSecond = true;
        m_Second = now.tv_sec;
        m_SecondLength = localtime_r(&m_Second, &local) == nullptr
                             ? 0
                             : std::strftime(m_Text, kSecondTextSize, "%F %H:%M:%S", &local);
        m_IsReadable = m_SecondLength != 0;
    }
    if (!m_IsReadable) {
        return kNoTime;
    }
    WriteMilliseconds(m_Text + m_SecondLength, now);
    return {static_cast<const char*>(m_Text), m_SecondLength + kMillisecondsSize};
}

std::string_view CLastHeader::Repeat(const timespec& now, std::uint32_t threadId) {
    if (!m_IsRepeatable || now.tv_sec != m_Second || threadId != m_ThreadId) {
        return {};
    }
    WriteMilliseconds(m_Text + kUsualSecondLength, now);
    return {static_cast<const char*>(m_Text), m_Length};
}

std::string_view CLastHeader::Write(const timespec& now, const EntryHeader& header) {
    m_Second = now.tv_sec;
    m_ThreadId = header.ThreadId;
    const std::string_view text = WriteOnce(header);
    // A year of five digits, or a time that cannot be formatted, has its milliseconds elsewhere.
    m_IsRepeatable = text.size() > kUsualSecondLength && text[kUsualSecondLength] == '.' &&
                     text[0] != kNoTime[0];
    return text;
}

std::string_view CLastHeader::WriteOnce(const EntryHeader& header) {
    m_IsRepeatable = false;
    m_Length = FormatEntryHeader(m_Text, sizeof m_Text, header);
    return {static_cast<const char*>(m_Text), m_Length};
}

std::size_t FormatEntryHeader(char* buffer, std::size_t size, const EntryHeader& header) {
    constexpr std::size_t kSourceWidth = 13;
    constexpr std::size_t kMemoryWidth = 8;
    CHeaderWriter out(buffer, size);
    out.Put(header.Time);
    out.Put(" [");
    out.PutHex(header.ThreadId);
    out.Put("] ");
    if (header.HasMemory) {
        out.PutRightAligned(header.ResidentKilobytes, kMemoryWidth);
        out.Put(" KB !");
    }
    out.PutLeftAligned(header.Source, kSourceWidth);
    out.Put(' ');
    return size - out.Room();
}

const char* SkipLeadingNewlines(const char* format) {
    const char* text = format;
    while (*text == '\n') {
        ++text;
    }
    return *text == '\0' ? format : text;
}

std::size_t ParseResidentKilobytes(std::string_view status, std::size_t& line) {
    constexpr std::string_view kKey = "VmRSS:";
    if (line > status.size() || (line > 0 && status[line - 1] != '\n') ||
        status.substr(line, kKey.size()) != kKey) {
        line = 0;
    }
    while (status.substr(line, kKey.size()) != kKey) {
        const std::size_t end = status.find('\n', line);
        if (end == std::string_view::npos) {
            return 0;
        }
        line = end + 1;
    }
    const std::size_t begin = status.find_first_not_of(" \t", line + kKey.size());
    std::size_t kilobytes = 0;
    if (begin != std::string_view::npos) {
        (void)std::from_chars(status.data() + begin, status.data() + status.size(), kilobytes);
    }
    return kilobytes;
}

std::uint64_t RingSize(long pageSize, std::uint32_t factor, std::uint32_t weight) {
    constexpr std::uint64_t kPagesPerUnit = 256;
    return static_cast<std::uint64_t>(pageSize) * factor * weight * kPagesPerUnit;
}

std::uint64_t FirstEntryPosition(std::uint64_t headerEnd) {
    return (headerEnd + 2048) / 1024 * 1024;
}

}  // namespace trace

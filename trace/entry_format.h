// Pure helpers of the trace facility: entry header, entry text rules, ring geometry.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string_view>

namespace trace {

inline constexpr std::size_t kHeaderSize = 128;     // longest entry header
inline constexpr std::size_t kShortestHeader = 24;  // the time alone is 23
inline constexpr std::size_t kMessageSize = 1024;   // longest message that the entry buffer keeps
// Header, message, the longer of the truncation notes, newline and terminator; the rest is spare.
inline constexpr std::size_t kEntryBufferSize = 1312;
inline constexpr std::size_t kPrefillLineSize = 1024;

// The local time of an entry as text. The part that only changes with the second is kept, so that
// most entries cost no calendar arithmetic; daylight saving and clock steps come right because
// they change the second. Not thread-safe.
class CEntryClock {
public:
    static constexpr std::size_t kTextSize = 28;
    // "yyyy-mm-dd hh:mm:ss.mmm" of `now`; those letters themselves when it cannot be formatted.
    // Valid until the next call.
    std::string_view Format(const timespec& now);

private:
    bool m_HasSecond = false;
    bool m_IsReadable = false;
    time_t m_Second = 0;
    std::size_t m_SecondLength = 0;
    char m_Text[kTextSize]{};
};

// What stands in an entry's header.
struct EntryHeader {
    std::string_view Time;
    std::uint32_t ThreadId;  // low half of the thread's id
    std::string_view Source;
    bool HasMemory;
    std::size_t ResidentKilobytes;
};

// The header of the entry before, which the next one of the same thread repeats within the second
// but for its milliseconds. Not thread-safe.
class CLastHeader {
public:
    // The text of a header that Keep was given, for another entry; empty when it does not fit it.
    // Valid until the next call.
    std::string_view Repeat(const timespec& now, std::uint32_t threadId);
    // Writes a header of that moment and remembers it. Its memory column must be off.
    std::string_view Write(const timespec& now, const EntryHeader& header);
    // For a header that will not be repeated.
    std::string_view WriteOnce(const EntryHeader& header);
    // The application's name has changed.
    void Forget() { m_IsRepeatable = false; }

private:
    bool m_IsRepeatable = false;
    std::uint32_t m_ThreadId = 0;
    time_t m_Second = 0;
    std::size_t m_Length = 0;
    char m_Text[kHeaderSize]{};
};

// Writes the header text into `buffer` without a terminator, cut at `size`; returns its length.
std::size_t FormatEntryHeader(char* buffer, std::size_t size, const EntryHeader& header);

// The format without its leading newlines; whole when it has nothing else.
const char* SkipLeadingNewlines(const char* format);

// The number on the "VmRSS:" line of a process status text; 0 when there is none. `line` is where
// the line may stand, from an earlier text, and then where it does.
std::size_t ParseResidentKilobytes(std::string_view status, std::size_t& line);
inline std::size_t ParseResidentKilobytes(std::string_view status) {
    std::size_t line = 0;
    return ParseResidentKilobytes(status, line);
}

inline constexpr std::uint32_t kLargestRingFactor = 2;
inline constexpr std::uint64_t kInitRingFactor = 4;  // the start-up ring's size, in active rings

// Bytes of a ring: page size x factor x weight x 256.
std::uint64_t RingSize(long pageSize, std::uint32_t factor, std::uint32_t weight);

// Where the first entry stands behind the header: (headerEnd + 2048) rounded down to 1 KiB, so that
// a kilobyte or two of the pre-fill stay in sight between them.
std::uint64_t FirstEntryPosition(std::uint64_t headerEnd);

}  // namespace trace

// The ring buffer: a text file of fixed size, mapped into memory and written in a circle.
//
// The mapping is shared with the file, so an entry is part of the file as soon as it is there: it
// survives the death of the process, and costs no system call. Behind the newest entry stands the
// end marker, which the next entry overwrites. docs/formats.md describes the file.
//
// How an entry becomes cheap and stays whole. Nearly every entry is composed where it stays: its
// header from the sixteenth byte on, its message and the next end marker first, behind the marker
// of the entry before; then the header's first sixteen bytes, in one move, in place of that marker.
// A process that is killed or crashes on a bad pointer in between leaves the entries before it and
// their marker as they were. An entry that is long, or near the end of the ring, is composed aside
// and copied in the same order. Around this:
// - the level test, the dispatch and the lock are in debug_print.cpp and base/critical_section.h;
// - the header repeats that of the entry before but for the milliseconds, while second and thread
//   are the same (trace::CLastHeader): no calendar, no local time, no copying together of parts;
// - the message is formatted without a stream where it can be (trace/entry_formatter.cpp);
// - the clock is read once, through the vDSO; it is the largest single part of what is left.
// docs/performance.md has the figures, and what was tried and did not pay.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <new>

#include "base/cancellation.h"
#include "base/error_text.h"
#include "base/own_file.h"
#include "trace/debug.h"
#include "trace/entry_formatter.h"

namespace {

// The end marker's length as a constant, so that it is one move.
constexpr std::size_t kMarkLength = 16;
static_assert(kMarkLength < trace::kShortestHeader);

constexpr char kNoMemoryNote[] = "\n## ERROR: No memory: Output Truncated!\n";
constexpr char kTooBigNote[] = "\n## WARNING: TRACE-SIZE TOO BIG: Output Truncated!\n";
static_assert(trace::kHeaderSize + trace::kMessageSize + sizeof kTooBigNote + kMarkLength <=
              trace::kEntryBufferSize);

// Room beside the message in the buffer of a long entry: header, newline, terminator.
constexpr std::size_t kLongEntryExtra = 145;
static_assert(kLongEntryExtra >= trace::kHeaderSize + 2);

constexpr mode_t kRingFileMode = 0700;

// Makes an entry the newest one whose text stands in the ring but for the first bytes, which are in
// `head`: those take the place of the end marker of the entry before.
void Publish(char* entry, const char* head, std::size_t length, const char* mark) {
    std::memcpy(entry + length, mark, kMarkLength);
    // Until here the entry before is the newest, whatever happens to the process.
    std::atomic_signal_fence(std::memory_order_release);
    std::memcpy(entry, head, kMarkLength);
}

}  // namespace

bool CDebug::InitRingBuffer(const char* path, std::size_t size) {
    m_RingBufferSize = size;
    m_RingBufferPos = 0;
    m_RingBufferRestartPos = 0;
    m_RingBufferCycle = 0;
    const int refusal =
        OpenOwnFile(path, O_RDWR | O_CREAT | O_TRUNC, kRingFileMode, m_RingBufferFd);
    if (refusal != 0) {
        PrintToLogFile("\n### InitRingBuffer(): open of %s failed (errno=%d; %s) ###", path,
                       refusal, CErrorText(refusal).Get());
        return false;
    }
    if (!PrefillRingBuffer(size)) {
        m_RingBufferFd.Reset();
        PrintToLogFile("\n### InitRingBuffer(): (2) write m_InternalDebugBuffer to %s failed ###",
                       path);
        return false;
    }
    void* map = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, m_RingBufferFd.Get(), 0);
    if (map == MAP_FAILED) {
        const int error = errno;
        m_RingBufferFd.Reset();
        PrintToLogFile("\n### InitRingBuffer(): mmap of %s failed (errno=%d; %s) ###", path, error,
                       CErrorText(error).Get());
        return false;
    }
    m_RingBufferMap = CFileMapping(map, size);
    m_Target = kTargetRingBuffer;
    WriteLogHeader(kTargetRingBuffer);
    m_RingBufferPos = trace::FirstEntryPosition(m_RingBufferPos);
    PrintIt(kTargetRingBuffer, "\n### Begin of RingBuffer. ###");
    m_RingBufferRestartPos = m_RingBufferPos;
    PrintIt(kTargetRingBuffer, "\n### Start of initialization. ###");
    return true;
}

// Gives the file its full size on the disk before it is mapped, so that a full file system is met
// here and not as a signal in the middle of a copy.
bool CDebug::PrefillRingBuffer(std::size_t size) {
    for (std::size_t offset = 0; offset < size; offset += trace::kPrefillLineSize) {
        char* line = m_InternalDebugBuffer;
        const std::size_t header = SetEntryHeader(line, trace::kHeaderSize, nullptr);
        std::memset(line + header, '_', trace::kPrefillLineSize - 1 - header);
        line[trace::kPrefillLineSize - 1] = '\n';
        const ssize_t written = write(m_RingBufferFd.Get(), line, trace::kPrefillLineSize);
        if (written != static_cast<ssize_t>(trace::kPrefillLineSize)) {
            return false;
        }
    }
    return true;
}

void CDebug::CloseRingBuffer() {
    m_RingBufferMap.Reset();
    m_RingBufferFd.Reset();
}

void CDebug::TraceToRingBuffer(const char* fmt, va_list args, const char* source) {
    if (fmt == nullptr || m_RingBufferMap.Data() == nullptr) {
        return;
    }
    va_list secondPass;
    va_copy(secondPass, args);
    if (m_RingBufferPos + trace::kEntryBufferSize > m_RingBufferSize) {
        ComposeAside(fmt, secondPass, source);
    } else if (const std::size_t length = ComposeInRing(fmt, args, source);
               length > trace::kMessageSize) {
        ComposeLong(length, fmt, secondPass, source);
    }
    va_end(secondPass);
}

// Writes an entry where it stays; there is room for one that is not long. Returns the message's
// length. A long message leaves the ring's text as it was up to and with its end marker.
std::size_t CDebug::ComposeInRing(const char* fmt, va_list args, const char* source) {
    char* const entry = m_RingBufferMap.Data() + m_RingBufferPos;
    const std::string_view header = EntryHeader(source);
    std::memcpy(entry + kMarkLength, header.data() + kMarkLength, header.size() - kMarkLength);
    const int messageLength = trace::FormatMessage(entry + header.size(), trace::kMessageSize + 1,
                                                   trace::SkipLeadingNewlines(fmt), args);
    const auto kept = static_cast<std::size_t>(std::max(messageLength, 0));
    if (kept > trace::kMessageSize) {
        return kept;
    }
    const std::size_t length = CloseEntry(entry, header.size() + kept);
    Publish(entry, header.data(), length, m_Trailer);
    m_RingBufferPos += length;
    return kept;
}

// An entry near the end of the ring.
void CDebug::ComposeAside(const char* fmt, va_list args, const char* source) {
    va_list secondPass;
    va_copy(secondPass, args);
    const Entry entry = Compose(fmt, args, source);
    if (entry.MessageLength <= trace::kMessageSize) {
        AddToRingBuffer(m_InternalDebugBuffer, entry.HeaderLength + entry.MessageLength);
    } else {
        ComposeLong(entry.MessageLength, fmt, secondPass, source);
    }
    va_end(secondPass);
}

// A message that does not fit the entry buffer: formatted again as a whole where it may be, else
// kept cut with a note.
void CDebug::ComposeLong(std::size_t messageLength, const char* fmt, va_list args,
                         const char* source) {
    const char* note = kTooBigNote;
    if (messageLength <= m_RingBufferSize / 10) {
        const std::unique_ptr<char[]> buffer(
            new (std::nothrow) char[messageLength + kLongEntryExtra]);
        if (buffer != nullptr) {
            const std::size_t header = SetEntryHeader(buffer.get(), trace::kHeaderSize, source);
            const int length = trace::FormatMessage(buffer.get() + header, messageLength + 1,
                                                    trace::SkipLeadingNewlines(fmt), args);
            // A text that changed meanwhile and grew is cut at the length that it had.
            const std::size_t kept =
                std::min(static_cast<std::size_t>(std::max(length, 0)), messageLength);
            AddToRingBuffer(buffer.get(), header + kept);
            return;
        }
        note = kNoMemoryNote;
    }
    const Entry entry = Compose(fmt, args, source);
    const std::size_t kept =
        entry.HeaderLength + std::min(entry.MessageLength, trace::kMessageSize);
    const std::size_t noteLength = std::strlen(note);
    std::memcpy(m_InternalDebugBuffer + kept, note, noteLength);
    AddToRingBuffer(m_InternalDebugBuffer, kept + noteLength);
}

// Closes an entry (its buffer has room for a newline) and copies it, behind a wrap if need be.
void CDebug::AddToRingBuffer(char* entry, std::size_t length) {
    length = CloseEntry(entry, length);
    if (m_RingBufferPos + length + m_TrailerLength <= m_RingBufferSize) {
        CopyToRingBuffer(entry, length);
        return;
    }
    if (m_IsWrappingRing) {
        return;  // a header larger than the ring: what does not fit is left out
    }
    char kept[trace::kEntryBufferSize];
    if (entry == m_InternalDebugBuffer) {
        // The header that the wrap writes is composed in the same buffer.
        std::memcpy(kept, entry, length);
        entry = kept;
    }
    WrapRingBuffer();
    CopyToRingBuffer(entry, length);
}

// Fills the rest of the file, refreshes the header at its start, and continues behind the
// begin-of-ring entry. What lies between header and restart position stays as it is.
void CDebug::WrapRingBuffer() {
    if (m_RingBufferPos < m_RingBufferSize) {
        std::memset(m_RingBufferMap.Data() + m_RingBufferPos, '.',
                    m_RingBufferSize - m_RingBufferPos);
    }
    // A thread cancelled half-way would leave the position inside the header.
    const CCancellationHold hold;
    ++m_RingBufferCycle;
    m_RingBufferPos = 0;
    m_IsWrappingRing = true;
    WriteLogHeader(kTargetRingBuffer);
    m_IsWrappingRing = false;
    m_RingBufferPos = m_RingBufferRestartPos;
}

void CDebug::CopyToRingBuffer(const char* entry, std::size_t length) {
    if (m_RingBufferPos + length + m_TrailerLength > m_RingBufferSize) {
        return;  // only where the header fills the whole ring
    }
    char* target = m_RingBufferMap.Data() + m_RingBufferPos;
    std::memcpy(target + kMarkLength, entry + kMarkLength, length - kMarkLength);
    Publish(target, entry, length, m_Trailer);
    m_RingBufferPos += length;
}

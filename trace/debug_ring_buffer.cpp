// The ring buffer: a text file of fixed size, mapped into memory and written in a circle.
//
// The mapping is shared with the file, so an entry is part of the file as soon as it is copied:
// it survives the death of the process, and costs no system call. Behind the newest entry stands
// the end marker, which the next entry overwrites. docs/formats.md describes the file.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "base/cancellation.h"
#include "base/error_text.h"
#include "trace/debug.h"

namespace {

constexpr char kNoMemoryNote[] = "\n## ERROR: No memory: Output Truncated!\n";
constexpr char kTooBigNote[] = "\n## WARNING: TRACE-SIZE TOO BIG: Output Truncated!\n";
static_assert(trace::kHeaderSize + trace::kMessageSize + sizeof kTooBigNote <=
              trace::kEntryBufferSize);

// Room beside the message in the buffer of a long entry: header, newline, terminator.
constexpr std::size_t kLongEntryExtra = 145;
static_assert(kLongEntryExtra >= trace::kHeaderSize + 2);

constexpr mode_t kRingFileMode = 0700;

}  // namespace

bool CDebug::InitRingBuffer(const char* path, std::size_t size) {
    m_RingBufferSize = size;
    m_RingBufferPos = 0;
    m_RingBufferRestartPos = 0;
    m_RingBufferCycle = 0;
    m_RingBufferFd.Reset(open(path, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, kRingFileMode));
    if (!m_RingBufferFd.IsValid()) {
        const int error = errno;
        PrintToLogFile("\n### InitRingBuffer(): open of %s failed (errno=%d; %s) ###", path, error,
                       CErrorText(error).Get());
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
    const Entry entry = Compose(fmt, args, source);
    if (entry.MessageLength <= trace::kMessageSize) {
        AddToRingBuffer(m_InternalDebugBuffer, entry.HeaderLength + entry.MessageLength);
    } else {
        AddLongToRingBuffer(entry, fmt, secondPass, source);
    }
    va_end(secondPass);
}

// A message that the entry buffer cut: formatted again as a whole where it may be, else kept cut
// with a note.
void CDebug::AddLongToRingBuffer(const Entry& entry, const char* fmt, va_list args,
                                 const char* source) {
    const char* note = kTooBigNote;
    if (entry.MessageLength <= m_RingBufferSize / 10) {
        const std::unique_ptr<char[]> buffer(
            new (std::nothrow) char[entry.MessageLength + kLongEntryExtra]);
        if (buffer != nullptr) {
            const std::size_t header = SetEntryHeader(buffer.get(), trace::kHeaderSize, source);
            const int length = std::vsnprintf(buffer.get() + header, entry.MessageLength + 1,
                                              trace::SkipLeadingNewlines(fmt), args);
            // A text that changed meanwhile and grew is cut at the length that it had.
            const std::size_t kept =
                std::min(static_cast<std::size_t>(std::max(length, 0)), entry.MessageLength);
            AddToRingBuffer(buffer.get(), header + kept);
            return;
        }
        note = kNoMemoryNote;
    }
    const std::size_t kept = entry.HeaderLength + trace::kMessageSize;
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
    std::memcpy(target, entry, length);
    std::memcpy(target + length, m_Trailer, m_TrailerLength);
    m_RingBufferPos += length;
}

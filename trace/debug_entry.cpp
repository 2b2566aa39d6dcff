// Composing an entry in the object's own buffer: header, message, closing newline.
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>

#include "base/paths.h"
#include "trace/debug.h"
#include "trace/entry_formatter.h"

namespace {

// The id of this process, asked for once and again in a forked child: getpid is a system call.
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): one for the process
constinit std::atomic<pid_t> OwnPid{0};

pid_t ProcessId() {
    const pid_t known = OwnPid.load(std::memory_order_relaxed);
    if (known != 0) {
        return known;
    }
    static const bool isWatched = pthread_atfork(nullptr, nullptr, [] { OwnPid = 0; }) == 0;
    const pid_t pid = getpid();
    if (isWatched) {
        OwnPid.store(pid, std::memory_order_relaxed);
    }
    return pid;
}

}  // namespace

// Writes header and message to m_InternalDebugBuffer; a message that is too long is cut there.
CDebug::Entry CDebug::Compose(const char* fmt, va_list args, const char* source) {
    Entry entry{.HeaderLength = SetEntryHeader(m_InternalDebugBuffer, trace::kHeaderSize, source),
                .MessageLength = 0};
    const int length =
        trace::FormatMessage(m_InternalDebugBuffer + entry.HeaderLength, trace::kMessageSize + 1,
                             trace::SkipLeadingNewlines(fmt), args);
    entry.MessageLength = static_cast<std::size_t>(std::max(length, 0));
    return entry;
}

// Ends the text of `length` bytes with a newline, unless it has one; returns the new length.
std::size_t CDebug::CloseEntry(char* text, std::size_t length) {
    if (length == 0 || text[length - 1] != '\n') {
        text[length++] = '\n';
    }
    return length;
}

std::size_t CDebug::SetEntryHeader(char* buffer, std::size_t size, const char* source) {
    const std::string_view header = EntryHeader(source);
    const std::size_t length = std::min(header.size(), size);
    std::memcpy(buffer, header.data(), length);
    return length;
}

// The header of an entry that is made now; valid until the next one.
std::string_view CDebug::EntryHeader(const char* source) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const auto threadId = static_cast<std::uint32_t>(pthread_self());
    const bool hasMemory = m_MemoryTracesFlag != 0;
    const bool isUsual = source == nullptr && !hasMemory;
    if (isUsual) {
        if (const std::string_view last = m_LastHeader.Repeat(now, threadId); !last.empty()) {
            return last;
        }
    }
    const trace::EntryHeader header{.Time = m_Clock.Format(now),
                                    .ThreadId = threadId,
                                    .Source = source != nullptr ? source : ApplName(),
                                    .HasMemory = hasMemory,
                                    .ResidentKilobytes = hasMemory ? ReadResidentKilobytes() : 0};
    return isUsual ? m_LastHeader.Write(now, header) : m_LastHeader.WriteOnce(header);
}

// Reads the status file that stays open from entry to entry. A forked child opens its own: the
// parent's would go on telling the parent's figures.
std::size_t CDebug::ReadResidentKilobytes() {
    const pid_t pid = ProcessId();
    if (!m_StatusFile.IsValid() || m_StatusFilePid != pid) {
        m_StatusFile.Reset(open(paths::kProcSelfStatus, O_RDONLY | O_CLOEXEC));
        m_StatusFilePid = pid;
    }
    char status[4096];
    const ssize_t length = pread(m_StatusFile.Get(), status, sizeof status, 0);
    return length > 0 ? trace::ParseResidentKilobytes({status, static_cast<std::size_t>(length)},
                                                      m_StatusLine)
                      : 0;
}

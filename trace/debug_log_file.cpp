// The log file: one write per entry, and a wrap back to the end of the start-up part.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "base/own_file.h"
#include "trace/debug.h"

namespace {

// Goes on where a call wrote a part, or was interrupted.
bool WriteWhole(int file, const char* text, std::size_t length) {
    while (length > 0) {
        const long written = syscall(SYS_write, file, text, length);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        text += written;
        length -= static_cast<std::size_t>(written);
    }
    return true;
}

}  // namespace

void CDebug::OpenLogFile() {
    SetTracePath(m_LogFilePath, "");
    constexpr mode_t kMode = 0666;  // filtered by the umask in force
    CUniqueFd file;
    m_LogFile.reset();
    if (OpenOwnFile(m_LogFilePath, O_RDWR | O_CREAT | O_TRUNC, kMode, file) == 0) {
        m_LogFile.reset(fdopen(file.Get(), "w+"));
    }
    if (m_LogFile != nullptr) {
        (void)file.Release();  // the stream's now
    }
    m_LogFilePos = 0;
    if (m_LogFile == nullptr) {
        syslog(LOG_ERR, "ERROR: Error during opening %s --> proceed without it\n", m_LogFilePath);
    }
}

void CDebug::TraceToLogFile(const char* fmt, va_list args, const char* source) {
    if (m_LogFile == nullptr || fmt == nullptr) {
        return;
    }
    const Entry entry = Compose(fmt, args, source);
    const std::size_t kept = std::min(entry.MessageLength, trace::kMessageSize);
    const std::size_t length = CloseEntry(m_InternalDebugBuffer, entry.HeaderLength + kept);
    // Tested after the write: the file may exceed its limit by one entry, the largest one, too.
    const std::uint64_t count =
        std::uint64_t{m_LogFileByteCnt} + WriteToLogFile(m_InternalDebugBuffer, length);
    m_LogFileByteCnt = static_cast<std::uint32_t>(count);
    if (count > m_LogFileMaxSize) {
        WrapLogFile();
    }
}

// Writes `length` bytes and returns how many are in the file: all, or none where the file system
// has no room. Then nothing of the entry stays behind at the end of the file, where the next entry
// would follow half a line. The stream's buffer is passed by: it would only be a copy more, and the
// bare call is no cancellation point, so that an entry and its count belong together.
std::uint32_t CDebug::WriteToLogFile(const char* text, std::size_t length) {
    const int file = fileno_unlocked(m_LogFile.get());
    if (WriteWhole(file, text, length)) {
        m_LogFilePos += static_cast<std::int64_t>(length);
        return static_cast<std::uint32_t>(length);
    }
    const off_t reached = lseek(file, 0, SEEK_CUR);
    struct stat status {};
    const bool isAtEnd = fstat(file, &status) == 0 && status.st_size == reached;
    if (isAtEnd && ftruncate(file, m_LogFilePos) != 0) {
        return 0;  // the position stays behind the torn line
    }
    (void)lseek(file, m_LogFilePos, SEEK_SET);
    return 0;
}

// Continues behind the start-up part, which is never overwritten. The file is not cut: older
// entries stay behind the writing position until they are overwritten.
void CDebug::WrapLogFile() {
    const int file = fileno_unlocked(m_LogFile.get());
    if (lseek(file, m_LogFileInitEndOffset, SEEK_SET) < 0) {
        const int error = errno;
        syslog(LOG_ERR, "ERROR: fseek failed for %s (errno=%d) --> rewind it\n", m_LogFilePath,
               error);
        (void)lseek(file, 0, SEEK_SET);
        m_LogFilePos = 0;
    } else {
        m_LogFilePos = m_LogFileInitEndOffset;
    }
    m_LogFileByteCnt = m_LogFileCntInitEnd;
    ++m_LogFileCycle;
    // Deliberate: the count has just been reset, so two of the fields show the same number; and the
    // line has no entry header.
    const int length = std::snprintf(
        m_InternalDebugBuffer, sizeof m_InternalDebugBuffer,
        "------ WRAP ----- Cycle=%d, CntInitEnd=%u, CurrentByteCnt=%u (MaxCnt=%u)\n",
        static_cast<int>(m_LogFileCycle), m_LogFileCntInitEnd, m_LogFileByteCnt, m_LogFileMaxSize);
    m_LogFileByteCnt +=
        WriteToLogFile(m_InternalDebugBuffer, static_cast<std::size_t>(std::max(length, 0)));
}

// The log file: one flushed write per entry, and a wrap back to the end of the start-up part.
#include <stdio_ext.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "trace/debug.h"

void CDebug::OpenLogFile() {
    SetTracePath(m_LogFilePath, "");
    // "c": no write is a cancellation point. A thread unwound in the middle of one would leave its
    // entry in the stream and the count and the position behind.
    m_LogFile.reset(std::fopen(m_LogFilePath, "w+ce"));
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
    m_LogFileByteCnt += WriteToLogFile(m_InternalDebugBuffer, length);
    // Tested after the write: the file may exceed its limit by one entry.
    if (m_LogFileByteCnt > m_LogFileMaxSize) {
        WrapLogFile();
    }
}

// Writes and flushes `length` bytes as one piece and returns how many are in the file: all, or none
// where the file system has no room. Then nothing of the entry stays behind: not in the stream,
// which would deliver it later, and not at the end of the file, where the next entry would follow
// half a line.
std::uint32_t CDebug::WriteToLogFile(const char* text, std::size_t length) {
    std::FILE* file = m_LogFile.get();
    if (fwrite_unlocked(text, 1, length, file) == length && fflush_unlocked(file) == 0) {
        m_LogFilePos += static_cast<std::int64_t>(length);
        return static_cast<std::uint32_t>(length);
    }
    __fpurge(file);
    clearerr_unlocked(file);
    const off_t reached = lseek(fileno_unlocked(file), 0, SEEK_CUR);
    struct stat status {};
    const bool isAtEnd = fstat(fileno_unlocked(file), &status) == 0 && status.st_size == reached;
    if (isAtEnd && ftruncate(fileno_unlocked(file), m_LogFilePos) != 0) {
        return 0;  // the position stays behind the torn line
    }
    (void)fseeko(file, m_LogFilePos, SEEK_SET);
    return 0;
}

// Continues behind the start-up part, which is never overwritten. The file is not cut: older
// entries stay behind the writing position until they are overwritten.
void CDebug::WrapLogFile() {
    if (fseeko(m_LogFile.get(), m_LogFileInitEndOffset, SEEK_SET) != 0) {
        const int error = errno;
        syslog(LOG_ERR, "ERROR: fseek failed for %s (errno=%d) --> rewind it\n", m_LogFilePath,
               error);
        std::rewind(m_LogFile.get());
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

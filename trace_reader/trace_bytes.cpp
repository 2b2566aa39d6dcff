#include "trace_reader/trace_bytes.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/file_io.h"

namespace trace_reader {

void CTraceBytes::Read(std::uint64_t offset, std::size_t length, std::string& text) const {
    // A string is filled with zeros first; only with as many as there is something for.
    const std::uint64_t size = Size();
    text.resize(std::min<std::uint64_t>(length, size - std::min(offset, size)));
    text.resize(Read(offset, text.data(), text.size()));
}

std::size_t CTraceMemory::Read(std::uint64_t offset, char* buffer, std::size_t length) const {
    if (offset >= m_Text.size()) {
        return 0;
    }
    const std::size_t count = std::min<std::size_t>(length, m_Text.size() - offset);
    std::memcpy(buffer, m_Text.data() + offset, count);
    return count;
}

int CTraceFileBytes::Open(const std::string& path) {
    // Not blocking: a FIFO of that name must not hold up the reader.
    m_File.Reset(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!m_File.IsValid()) {
        return errno;
    }
    if (!S_ISREG(Status().st_mode)) {
        m_File.Reset();
        return m_Error != 0 ? m_Error : EINVAL;
    }
    return 0;
}

struct stat CTraceFileBytes::Status() const {
    struct stat status {};
    if (m_File.IsValid() && fstat(m_File.Get(), &status) != 0) {
        m_Error = m_Error != 0 ? m_Error : errno;
        status = {};
    }
    return status;
}

std::uint64_t CTraceFileBytes::Size() const {
    return static_cast<std::uint64_t>(Status().st_size);
}

std::size_t CTraceFileBytes::Read(std::uint64_t offset, char* buffer, std::size_t length) const {
    const ReadResult result = ReadFullyAt(m_File.Get(), buffer, length, offset);
    m_Error = m_Error != 0 ? m_Error : result.Error;
    return result.Bytes;
}

}  // namespace trace_reader

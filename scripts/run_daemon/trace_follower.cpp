#include "scripts/run_daemon/trace_follower.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>

namespace {

void Append(std::string& text, std::string_view prefix, std::string_view lines) {
    while (!lines.empty()) {
        const std::size_t length = lines.find('\n') + 1;
        text.append(prefix).append(lines.substr(0, length));
        lines.remove_prefix(length);
    }
}

}  // namespace

std::string_view CFileView::Look() {
    if (!m_File.IsValid()) {
        m_File.Reset(open(m_Path.c_str(), O_RDONLY | O_CLOEXEC));
    }
    struct stat status {};
    if (!m_File.IsValid() || fstat(m_File.Get(), &status) != 0) {
        return {};
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    if (size != m_Mapping.Size()) {
        m_Mapping = CFileMapping(mmap(nullptr, size, PROT_READ, MAP_SHARED, m_File.Get(), 0), size);
    }
    return {m_Mapping.Data(), m_Mapping.Size()};
}

std::string_view CTraceFollower::TakeLogLines() {
    std::string_view lines = m_Log.Look();
    lines.remove_prefix(std::min(m_LogPosition, lines.size()));
    lines = lines.substr(0, lines.rfind('\n') + 1);
    m_LogPosition += lines.size();
    return lines;
}

std::string CTraceFollower::TakeNewLines() {
    std::string text;
    Append(text, "log  | ", TakeLogLines());
    // In the order of writing: once the second ring has entries, the first gets no more.
    const std::string active = m_ActiveReader.TakeNewLines(m_ActiveRing.Look());
    Append(text, "ring | ", m_StartUpReader.TakeNewLines(m_StartUpRing.Look()));
    Append(text, "ring | ", active);
    return text;
}

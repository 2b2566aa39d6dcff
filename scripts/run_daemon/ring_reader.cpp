#include "scripts/run_daemon/ring_reader.h"

#include <algorithm>

namespace {

constexpr std::string_view kEndMarker = "## TRACE-END ##\n";
constexpr std::string_view kBegin = "### Begin of RingBuffer. ###\n";
constexpr std::string_view kOvertaken = "(entries were overwritten before they could be read)\n";
constexpr std::size_t kRemembered = 80;  // more than an entry's header, which holds the time

}  // namespace

bool CRingReader::FindBegin(std::string_view ring) {
    const std::size_t text = ring.find(kBegin);
    // The entry's header is complete when the text behind it is; the marker behind both is last.
    if (text == std::string_view::npos || ring.find(kEndMarker, text) == std::string_view::npos) {
        return false;
    }
    m_Position = ring.rfind('\n', text) + 1;
    m_Restart = text + kBegin.size();
    m_IsStarted = true;
    return true;
}

void CRingReader::MoveTo(std::string_view ring, std::size_t position) {
    const std::size_t length = std::min(position - m_Restart, kRemembered);
    m_Position = position;
    m_Before = ring.substr(position - length, length);
}

std::string CRingReader::TakeNewLines(std::string_view ring) {
    if (!m_IsStarted && !FindBegin(ring)) {
        return {};
    }
    if (ring.substr(m_Position - m_Before.size(), m_Before.size()) != m_Before) {
        const std::size_t end = ring.find(kEndMarker, m_Restart);
        if (end == std::string_view::npos) {
            return {};
        }
        MoveTo(ring, end);
        return std::string(kOvertaken);
    }
    std::string lines;
    std::size_t end = ring.find(kEndMarker, m_Position);
    if (end == std::string_view::npos) {
        // Either an entry is just being written, or the ring has wrapped.
        end = ring.find(kEndMarker, m_Restart);
        if (end == std::string_view::npos) {
            return {};
        }
        // The entries of the old cycle reach to the last newline; dots follow.
        const std::string_view rest = ring.substr(m_Position);
        lines = rest.substr(0, rest.rfind('\n') + 1);
        m_Position = m_Restart;
    }
    lines += ring.substr(m_Position, end - m_Position);
    MoveTo(ring, end);
    return lines;
}

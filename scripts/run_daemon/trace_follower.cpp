#include "scripts/run_daemon/trace_follower.h"

#include <algorithm>

namespace {

using trace_reader::CRingFollower;

constexpr char kLog[] = "/var/log/quorvat/log.zentd";
constexpr char kOvertaken[] = "(entries were overwritten before they could be read)\n";

void Append(std::string& text, std::string_view prefix, std::string_view lines) {
    while (!lines.empty()) {
        const std::size_t length = std::min(lines.find('\n'), lines.size() - 1) + 1;
        text.append(prefix).append(lines.substr(0, length));
        lines.remove_prefix(length);
    }
}

}  // namespace

std::string CFollowedRing::TakeNewLines() {
    if (!m_Follower) {
        if (m_File.Open(m_Path) != 0) {
            return {};
        }
        m_Follower.emplace(m_File, CRingFollower::From::kOldest);
    }
    std::string lines;
    for (;;) {
        switch (m_Follower->Look(
            [&lines](const trace_reader::Entry& entry) { lines += entry.Bytes; })) {
        case CRingFollower::Result::kNothing: return lines;
        case CRingFollower::Result::kLost: lines += kOvertaken; break;
        case CRingFollower::Result::kEntries:
        case CRingFollower::Result::kOtherRing: break;
        }
    }
}

std::string CTraceFollower::TakeLogLines() {
    if (m_Log.Descriptor() < 0 && m_Log.Open(kLog) != 0) {
        return {};
    }
    std::string lines;
    const std::uint64_t size = m_Log.Size();
    m_Log.Read(m_LogPosition, size - std::min(size, m_LogPosition), lines);
    lines.resize(lines.rfind('\n') + 1);
    m_LogPosition += lines.size();
    return lines;
}

std::string CTraceFollower::TakeNewLines() {
    std::string text;
    Append(text, "log  | ", TakeLogLines());
    // In the order of writing: once the second ring has entries, the first gets no more.
    const std::string active = m_ActiveRing.TakeNewLines();
    Append(text, "ring | ", m_StartUpRing.TakeNewLines());
    Append(text, "ring | ", active);
    return text;
}

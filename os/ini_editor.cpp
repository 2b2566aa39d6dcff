#include "os/ini_editor.h"

#include "os/ini_scanner.h"

namespace ini {

namespace {

std::string_view KeyOf(std::string_view text, std::size_t equals) {
    // Deliberate: blanks before the key stay part of it, so a write never finds an indented key
    // that a read finds.
    const std::string_view key = text.substr(0, equals);
    return key.substr(0, key.find_last_not_of(" \t") + 1);
}

}  // namespace

std::string SettingText(const Change& change) {
    std::string text;
    if (change.IsSet()) {
        text.append(*change.Key).append("=").append(*change.Value).append("\n");
    }
    return text;
}

std::string NewSectionText(const Change& change) {
    return std::string("\n[").append(change.Section).append("]\n\n").append(SettingText(change));
}

bool CEditPlanner::Take(std::string_view line) {
    m_Position += line.size();
    m_EndsInNewline = line.ends_with('\n');
    const std::string_view text = LineText(line);
    // Deliberate: empty and comment lines belong to the line below them and go with it, when that
    // is replaced or deleted.
    if (text.empty() || text.front() == ';') {
        return true;
    }
    const std::uint64_t start = m_SpanStart;
    m_SpanStart = m_Position;
    if (text.front() == '[') {
        return TakeHeader(text, start);
    }
    return !m_IsInSection || TakeSetting(text, start);
}

bool CEditPlanner::TakeHeader(std::string_view text, std::uint64_t start) {
    if (!m_IsInSection) {
        m_IsInSection = IsHeaderOf(text, m_Change.Section);
        m_SectionStart = start;
        return true;
    }
    if (!m_Change.Key) {
        return Decide({.What = Edit::Kind::kReplace, .WriteAt = m_SectionStart, .TailFrom = start});
    }
    if (m_Change.IsSet()) {
        return Decide({.What = Edit::Kind::kReplace, .WriteAt = start, .TailFrom = start});
    }
    return Decide({});
}

bool CEditPlanner::TakeSetting(std::string_view text, std::uint64_t start) {
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos) {
        return true;
    }
    if (!m_Change.Key || KeyOf(text, equals) != *m_Change.Key) {
        ++m_KeyCount;
        return true;
    }
    // Deliberate: the first key of a section gets an empty line above it, also when there was none
    // and also when it is deleted.
    return Decide({.What = Edit::Kind::kReplace,
                   .WriteAt = start,
                   .TailFrom = m_Position,
                   .BlankFirst = m_KeyCount == 0});
}

bool CEditPlanner::Decide(const Edit& edit) {
    m_Edit = edit;
    return false;
}

Edit CEditPlanner::Finish() const {
    if (m_Edit) {
        return *m_Edit;
    }
    if (!m_IsInSection) {
        return {.What = m_Change.IsSet() ? Edit::Kind::kAppendSection : Edit::Kind::kNone};
    }
    if (!m_Change.Key) {
        return {.What = Edit::Kind::kReplace, .WriteAt = m_SectionStart, .TailFrom = m_Position};
    }
    if (m_Change.IsSet()) {
        // The newline ends a last line that has none; the setting would be glued to it.
        return {.What = Edit::Kind::kReplace,
                .WriteAt = m_Position,
                .TailFrom = m_Position,
                .BlankFirst = !m_EndsInNewline};
    }
    return {};
}

}  // namespace ini

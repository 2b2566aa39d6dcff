#include "os/ini_query.h"

#include <algorithm>

#include "base/bounded_text.h"
#include "os/ini_scanner.h"

namespace ini {

namespace {

std::optional<std::string_view> TextOrNothing(const char* text) {
    return text != nullptr ? std::optional<std::string_view>(text) : std::nullopt;
}

}  // namespace

CResultBuffer::CResultBuffer(char* buffer, std::size_t size) : m_Buffer(buffer), m_Size(size) {
    std::fill_n(m_Buffer, std::min<std::size_t>(m_Size, 2), '\0');
}

std::size_t CResultBuffer::PlaceText(std::string_view text) {
    CopyText(m_Buffer, m_Size, text);
    return m_Size == 0 ? 0 : std::min(text.size(), m_Size - 1);
}

void CResultBuffer::AddName(std::string_view name) {
    // Deliberate: an empty name ("[]", or a line that begins with "=") is left out of a list, for
    // its terminator would read as the end of the list.
    if (name.empty() || IsFull()) {
        return;
    }
    if (m_Used + 1 == m_Size) {
        --m_Used;  // the list fitted to the last character; with this name it does not
        return;
    }
    const std::size_t room = m_Size - 2 - m_Used;  // characters, with both terminators kept
    const std::size_t length = std::min(name.size(), room);
    std::copy_n(name.data(), length, m_Buffer + m_Used);
    m_Used += length;
    m_Buffer[m_Used] = '\0';
    m_Buffer[m_Used + 1] = '\0';
    if (length == name.size()) {
        ++m_Used;
    }
}

CQuery::CQuery(const char* section, const char* key, CResultBuffer& result)
    : m_Section(TextOrNothing(section)), m_Key(TextOrNothing(key)), m_Result(result) {}

bool CQuery::Take(std::string_view line) {
    const Event event = ReadLine(line);
    switch (event.What) {
    case Event::Kind::kHeader: return TakeHeader(event.Text, event.Name);
    case Event::Kind::kSetting: return !m_IsInSection || TakeSetting(event.Name, event.Value);
    case Event::Kind::kNothing: break;
    }
    return true;
}

// Deliberate: the first section of a name counts; a later one is never read.
bool CQuery::TakeHeader(std::string_view text, std::string_view name) {
    if (!m_Section) {
        m_Result.AddName(name);
        return !m_Result.IsFull();
    }
    if (m_IsInSection) {
        return false;
    }
    m_IsInSection = IsHeaderOf(text, *m_Section);
    return true;
}

// Deliberate: the first occurrence of a key counts, and an empty value reads as missing.
bool CQuery::TakeSetting(std::string_view key, std::string_view value) {
    if (!m_Key) {
        m_Result.AddName(key);
        return !m_Result.IsFull();
    }
    if (key != *m_Key) {
        return true;
    }
    if (!value.empty()) {
        m_ValueLength = m_Result.PlaceText(value);
    }
    return false;
}

std::optional<std::size_t> CQuery::Finish() const {
    return m_Section && m_Key ? m_ValueLength : m_Result.ListLength();
}

}  // namespace ini

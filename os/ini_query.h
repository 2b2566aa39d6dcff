// Answers one question of a reader of an INI file, line by line, into the caller's buffer.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace ini {

// The caller's buffer of a profile read: one text, or a list of names. Each name has a terminator,
// and one more ends the list; an empty list is two terminators. Never writes past `size`.
class CResultBuffer {
public:
    // Empties the buffer: `size` characters with the terminators, which may be 0.
    CResultBuffer(char* buffer, std::size_t size);

    // Places a text, cut to what fits. Returns its length in the buffer: size - 1 when it was cut.
    std::size_t PlaceText(std::string_view text);

    // Appends a name and ends the list behind it; one that does not fit is cut so that both
    // terminators remain.
    void AddName(std::string_view name);
    // No further name is worth looking for.
    [[nodiscard]] bool IsFull() const { return m_Size < 3 || m_Used == m_Size - 2; }
    // Characters of the list with the terminators of its names but not the last one: size - 2 when
    // a name was cut.
    [[nodiscard]] std::size_t ListLength() const { return m_Used; }

private:
    char* m_Buffer;  // the caller's
    std::size_t m_Size;
    std::size_t m_Used = 0;  // by the list; at most m_Size - 1
};

// A question: the value of a key, the keys of a section, or the names of all sections.
class CQuery {
public:
    // `section` null asks for the sections; else `key` null asks for the section's keys. The texts
    // and the buffer stay the caller's and must outlive the query.
    CQuery(const char* section, const char* key, CResultBuffer& result);

    // Takes the file's next line. False when no later line can change the answer.
    bool Take(std::string_view line);

    // The number of characters placed. Nothing when a value was asked for and is missing.
    [[nodiscard]] std::optional<std::size_t> Finish() const;

private:
    bool TakeHeader(std::string_view text, std::string_view name);
    bool TakeSetting(std::string_view key, std::string_view value);

    std::optional<std::string_view> m_Section;
    std::optional<std::string_view> m_Key;
    CResultBuffer& m_Result;
    bool m_IsInSection = false;
    std::optional<std::size_t> m_ValueLength;
};

}  // namespace ini

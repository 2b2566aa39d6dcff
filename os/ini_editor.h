// Finds where a change of an INI file belongs: from the file's lines to one edit of its bytes.
//
// Pure: the planner sees lines and counts bytes; os/profile_file carries the edit out. A writer
// looks at lines more strictly than a reader does (os/ini_scanner): headers, keys and comments
// count only from the first column.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ini {

// What a caller wants: without a key the section goes, without a value the key goes, with both the
// key is set.
struct Change {
    std::string_view Section;
    std::optional<std::string_view> Key;
    std::optional<std::string_view> Value;

    [[nodiscard]] bool IsSet() const { return Key && Value; }
};

// What has to be done to the file.
struct Edit {
    enum class Kind {
        kNone,           // there is nothing to delete
        kReplace,        // the bytes from WriteAt to TailFrom give way
        kAppendSection,  // a new section goes behind everything
    };
    Kind What = Kind::kNone;
    std::uint64_t WriteAt = 0;   // offset in bytes
    std::uint64_t TailFrom = 0;  // offset of the first byte that stays behind the edit
    bool BlankFirst = false;     // a newline is written before anything else
};

// "key=value" and a newline when the change sets; nothing when it deletes.
std::string SettingText(const Change& change);
// A section with its first setting, as a new one is appended: an empty line, the header, an empty
// line, the setting.
std::string NewSectionText(const Change& change);

// Takes a file's lines in order, as FirstLine cuts them, until the edit is known.
class CEditPlanner {
public:
    // The change's texts stay the caller's and must outlive the planner.
    explicit CEditPlanner(const Change& change) : m_Change(change) {}

    // False when the edit is known and no further line is wanted.
    bool Take(std::string_view line);

    // The edit, after the last line or after Take returned false.
    [[nodiscard]] Edit Finish() const;

private:
    bool TakeHeader(std::string_view text, std::uint64_t start);
    bool TakeSetting(std::string_view text, std::uint64_t start);
    bool Decide(const Edit& edit);

    Change m_Change;
    std::optional<Edit> m_Edit;
    std::uint64_t m_Position = 0;   // behind the last line
    std::uint64_t m_SpanStart = 0;  // where the empty and comment lines above the next line begin
    std::uint64_t m_SectionStart = 0;  // of the wanted section's header, with the lines above it
    std::size_t m_KeyCount = 0;        // settings of the wanted section so far
    bool m_IsInSection = false;
    bool m_EndsInNewline = true;
};

}  // namespace ini

// How an INI file is cut into lines, and what a reader sees in one line.
//
// Pure functions on text. The views that they return point into the text given; nothing is
// allocated or copied, and every function is linear in the length of one line.
#pragma once

#include <cstddef>
#include <string_view>

namespace ini {

// Characters of a line, its newline included. A longer line arrives in pieces of this length, each
// of which counts as a line of its own.
inline constexpr std::size_t kLineMax = 1023;

// The first line of `text`, with its newline where it has one; empty when `text` is. Where `text`
// is a part of a file, a line without a newline that is shorter than kLineMax may go on behind it.
std::string_view FirstLine(std::string_view text);

// The line without its newline, and up to its first NUL byte: a line is a C string to its users.
std::string_view LineText(std::string_view line);

// Whether `text` is a header of that section: it begins with "[", the name and "]" exactly.
bool IsHeaderOf(std::string_view text, std::string_view section);

// What a reader sees in a line.
struct Event {
    enum class Kind {
        kNothing,  // empty, a comment, or text without "="
        kHeader,
        kSetting,
    };
    Kind What = Kind::kNothing;
    std::string_view Text;   // the line without white space around it and without its comment
    std::string_view Name;   // the section's (empty when the "]" is missing) or the setting's key
    std::string_view Value;  // of a setting; may be empty
};

// Headers and settings are seen wherever they begin in their line.
Event ReadLine(std::string_view line);

}  // namespace ini

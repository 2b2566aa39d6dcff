// Pure helpers for text of unknown content: UTF-8, control bytes, hexadecimal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace text {

// The number of bytes of the well-formed UTF-8 character that `text` begins with; 0 when it does
// not begin with one.
[[nodiscard]] std::size_t Utf8CharacterLength(std::string_view text);

[[nodiscard]] bool IsUtf8(std::string_view text);

// The text with each byte of a control character (C0, DEL, C1, line ends and directions of writing)
// and of malformed UTF-8 as "\xNN", so that a terminal shows it and does not obey it.
[[nodiscard]] std::string EscapeControls(std::string_view text);

// The text with each byte of malformed UTF-8 as the replacement character, U+FFFD.
[[nodiscard]] std::string ReplaceMalformed(std::string_view text);

// Two lower-case digits for each byte, without blanks.
[[nodiscard]] std::string Hex(std::string_view bytes);
// The reverse, for digits of either case. False when it is not pairs of digits.
[[nodiscard]] bool ParseHex(std::string_view digits, std::string& bytes);

}  // namespace text

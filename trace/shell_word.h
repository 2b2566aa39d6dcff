// Quoting for the one command that runs through a shell.
#pragma once

#include <string>
#include <string_view>

namespace trace {

// `text` as one word of a POSIX shell: itself when it has only letters, digits and "/._-+,:@%=",
// else in single quotes.
std::string ShellWord(std::string_view text);

}  // namespace trace

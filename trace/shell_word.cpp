#include "trace/shell_word.h"

#include <algorithm>

namespace trace {

namespace {

bool IsPlain(char c) {
    constexpr std::string_view kPlain = "/._-+,:@%=";
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           kPlain.find(c) != std::string_view::npos;
}

}  // namespace

std::string ShellWord(std::string_view text) {
    if (!text.empty() && std::all_of(text.begin(), text.end(), IsPlain)) {
        return std::string(text);
    }
    std::string word = "'";
    for (const char c : text) {
        if (c == '\'') {
            word += R"('\'')";
        } else {
            word += c;
        }
    }
    return word + "'";
}

}  // namespace trace

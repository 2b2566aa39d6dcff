#include "tools/command.h"

#include <unistd.h>

#include <cstdio>

#include "base/text_safety.h"

namespace tools {

namespace {

void WriteLine(std::FILE* stream, bool isTerminal, std::string_view text) {
    std::string line = isTerminal ? text::EscapeControls(text) : std::string(text);
    line += '\n';
    (void)std::fwrite(line.data(), 1, line.size(), stream);  // main looks at the stream's state
}

}  // namespace

void PrintLine(std::string_view text) {
    static const bool kIsTerminal = isatty(STDOUT_FILENO) != 0;
    WriteLine(stdout, kIsTerminal, text);
}

void Warn(const std::string& message) {
    static const bool kIsTerminal = isatty(STDERR_FILENO) != 0;
    WriteLine(stderr, kIsTerminal, "morlactl: " + message);
}

int Fail(ExitCode code, const std::string& message) {
    Warn(message);
    return code;
}

}  // namespace tools

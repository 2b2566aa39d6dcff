#include "tools/command.h"

#include <unistd.h>

#include <cstdio>

#include "base/text_safety.h"

namespace tools {

namespace {

void WriteLine(std::FILE* stream, std::string_view text) {
    std::string line(text);
    if (isatty(fileno(stream)) != 0) {
        line = text::EscapeControls(text);
    }
    line += '\n';
    (void)std::fwrite(line.data(), 1, line.size(), stream);  // main looks at the stream's state
}

}  // namespace

void PrintLine(std::string_view text) {
    WriteLine(stdout, text);
}

void Warn(const std::string& message) {
    WriteLine(stderr, "morlactl: " + message);
}

int Fail(ExitCode code, const std::string& message) {
    Warn(message);
    return code;
}

}  // namespace tools

// morlactl: the operator's tool. Tracing stays off: `Debug` is not initialised here.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "base/error_text.h"
#include "tools/command.h"

namespace {

constexpr char kNotes[] =
    "Begin with \"morlactl doctor\" when something does not work. Every group and verb has --help;\n"
    "the manual page is morlactl(1).\n"
    "Exit codes: 0 done, 1 failed, 2 not found, 64 wrong usage.\n"
    "An argument that begins with \"-\" stands after \"--\".";

// Help and version go to standard output with exit code 0, everything else is wrong usage.
int ReportParseResult(const CLI::App& app, const CLI::ParseError& error) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
        std::ostringstream text;
        (void)app.exit(error, text, text);
        (void)std::fputs(text.str().c_str(), stdout);
        return tools::kSuccess;
    }
    const std::vector<std::string> unknown = app.remaining(true);
    const std::string what =
        unknown.empty() ? error.what() : "unknown: \"" + unknown.front() + "\"";
    return tools::Fail(tools::kUsage, what + " (see --help)");
}

int Run(int argc, char** argv) {
    int exitCode = tools::kSuccess;
    CLI::App app("Operator's tool of the morla server-management daemon", "morlactl");
    app.set_version_flag("--version", "morlactl " MORLACTL_VERSION);
    app.footer(kNotes);
    app.require_subcommand(1);
    tools::AddDoctorCommands(app, exitCode);
    tools::AddIniCommands(app, exitCode);
    tools::AddInventoryCommands(app, exitCode);
    tools::AddProcessCommands(app, exitCode);
    tools::AddRegistryCommands(app, exitCode);
    tools::AddSmbiosCommands(app, exitCode);
    tools::AddSwitchCommands(app, exitCode);
    tools::AddTraceCommands(app, exitCode);
    try {
        std::vector<std::string> words = tools::WithDefaultVerb({argv + 1, argv + argc});
        std::reverse(words.begin(), words.end());  // as the library takes them
        app.parse(std::move(words));
    } catch (const CLI::ParseError& error) {
        return ReportParseResult(app, error);
    }
    return exitCode;
}

}  // namespace

int main(int argc, char** argv) {
    int exitCode = tools::kFailure;
    try {
        exitCode = Run(argc, argv);
    } catch (const std::exception& error) {
        exitCode = tools::Fail(tools::kFailure, error.what());
    }
    const bool isWritten = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
    const int error = errno;
    if (!isWritten) {
        return tools::Fail(tools::kFailure,
                           std::string("cannot write the result: ") + CErrorText(error).Get());
    }
    return exitCode;
}

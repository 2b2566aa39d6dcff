// What the command groups of morlactl share: exit codes, and output that is safe for a terminal.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace CLI {  // NOLINT(readability-identifier-naming): the library's own name
class App;
}  // namespace CLI

namespace tools {

enum ExitCode : int { kSuccess = 0, kFailure = 1, kNotFound = 2, kUsage = 64 };

// Each adds one group of commands to the command line. The command that is chosen runs while the
// line is parsed and leaves its exit code in `exitCode`, which lives as long as `app`.
void AddDoctorCommands(CLI::App& app, int& exitCode);
void AddIniCommands(CLI::App& app, int& exitCode);
void AddInventoryCommands(CLI::App& app, int& exitCode);
void AddProcessCommands(CLI::App& app, int& exitCode);
void AddRegistryCommands(CLI::App& app, int& exitCode);
void AddSmbiosCommands(CLI::App& app, int& exitCode);
void AddSwitchCommands(CLI::App& app, int& exitCode);
void AddTraceCommands(CLI::App& app, int& exitCode);

// The words behind the program's name, with the verb that "trace" stands for when none follows it.
[[nodiscard]] std::vector<std::string> WithDefaultVerb(std::vector<std::string> arguments);

// Writes one line to standard output: byte by byte into a file or pipe, with control bytes escaped
// on a terminal.
void PrintLine(std::string_view text);

// Writes "morlactl: " and the message as one line to standard error, escaped likewise, and returns
// `code`.
[[nodiscard]] int Fail(ExitCode code, const std::string& message);
// The same for what does not end the command.
void Warn(const std::string& message);

}  // namespace tools

// The daemon's command line: what each argument means, and the two passes over it.
//
// Options are whole arguments: compared exactly, without prefixes or values. Others are ignored.
#pragma once

#include <span>
#include <string_view>

#include "morla/switch.h"

enum class CommandLineOption {
    kNone,  // not an option
    kForeground,
    kRescan,
    kAgentless,
    kTovin,
    kPlexa,
    kPlexaAgentless
};

[[nodiscard]] CommandLineOption ParseOption(std::string_view argument);

// The arguments behind the program's name; empty where even that is missing.
[[nodiscard]] std::span<char* const> OptionArguments(int argc, char* const* argv);

// First pass, before the process goes into the background: is it to stay in the foreground?
[[nodiscard]] bool IsForegroundWanted(std::span<char* const> arguments);

// Second pass, when tracing has started: run mode (the last one given holds) and rescan flag, each
// with its trace line.
[[nodiscard]] _ExtensionModuleLoaderConfig ParseCommandLine(std::span<char* const> arguments);

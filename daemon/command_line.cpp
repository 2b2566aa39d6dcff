#include "daemon/command_line.h"

#include <algorithm>
#include <array>
#include <utility>

#include "daemon/daemon_tag.h"
#include "daemon/guarded_trace.h"

using daemon_names::kTag;

CommandLineOption ParseOption(std::string_view argument) {
    using Row = std::pair<std::string_view, CommandLineOption>;
    static constexpr std::array<Row, 7> kOptions{{
        {"-n", CommandLineOption::kForeground},
        {"-nodemon", CommandLineOption::kForeground},
        {"-rescan", CommandLineOption::kRescan},
        {"-agentless", CommandLineOption::kAgentless},
        {"-tovin", CommandLineOption::kTovin},
        {"-plexa", CommandLineOption::kPlexa},
        {"-plexa-agentless", CommandLineOption::kPlexaAgentless},
    }};
    const auto* const row = std::find_if(kOptions.begin(), kOptions.end(),
                                         [&](const Row& r) { return r.first == argument; });
    return row != kOptions.end() ? row->second : CommandLineOption::kNone;
}

std::span<char* const> OptionArguments(int argc, char* const* argv) {
    return argc > 1 ? std::span(argv + 1, static_cast<std::size_t>(argc) - 1)
                    : std::span<char* const>();
}

bool IsForegroundWanted(std::span<char* const> arguments) {
    return std::any_of(arguments.begin(), arguments.end(), [](const char* argument) {
        return ParseOption(argument) == CommandLineOption::kForeground;
    });
}

namespace {

void ApplyOption(CommandLineOption option, _ExtensionModuleLoaderConfig& config) {
    switch (option) {
    case CommandLineOption::kNone:
    case CommandLineOption::kForeground: break;
    case CommandLineOption::kRescan:
        TraceIfActive(2, "\n%s-MAIN::ParseCommandLine   : RESCAN due to -rescan", kTag);
        config.Flags |= kLoaderFlagForceRescan;
        break;
    case CommandLineOption::kAgentless:
        TraceIfActive(2, "\n%s-MAIN::ParseCommandLine   : Agentsless mode due to -agentless", kTag);
        config.RunMode = RUN_MODE_AGENTLESS;
        break;
    case CommandLineOption::kTovin:
        TraceIfActive(2, "\n%s-MAIN::ParseCommandLine   : TOVIN mode due to -tovin", kTag);
        config.RunMode = RUN_MODE_TOVIN;
        break;
    case CommandLineOption::kPlexa:
        TraceIfActive(2, "\n%s-MAIN::ParseCommandLine   : PLEXA mode due to -plexa", kTag);
        config.RunMode = RUN_MODE_PLEXA;
        break;
    case CommandLineOption::kPlexaAgentless:
        TraceIfActive(2, "\n%s-MAIN::ParseCommandLine   : MORLA_PLEXA mode due to -plexa-agentless",
                      kTag);
        config.RunMode = RUN_MODE_MORLA_PLEXA;
        break;
    }
}

}  // namespace

_ExtensionModuleLoaderConfig ParseCommandLine(std::span<char* const> arguments) {
    _ExtensionModuleLoaderConfig config{.Flags = 0, .RunMode = RUN_MODE_AGENT};
    for (const char* const argument : arguments) {
        ApplyOption(ParseOption(argument), config);
    }
    TraceIfActive(2, "%s-MAIN: RUN MODE: %d", kTag, static_cast<int>(config.RunMode));
    return config;
}

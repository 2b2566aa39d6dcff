// morlactl switch: whether a library can be the daemon's switch.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <memory>

#include "tools/command.h"
#include "tools/switch_check/check.h"

namespace tools {

namespace {

constexpr unsigned int kDefaultTimeout = 10;  // seconds
constexpr unsigned int kLongestTimeout = 600;

std::string Line(const switch_check::Finding& finding) {
    constexpr std::size_t kWordWidth = 9;
    constexpr std::size_t kCheckWidth = 8;
    std::string line = Word(finding.Judgement);
    line.resize(kWordWidth, ' ');
    line += finding.Check;
    line.resize(kWordWidth + kCheckWidth, ' ');
    return line + finding.What;
}

int ShowCheck(const std::string& file, const switch_check::Options& options) {
    if (access(file.c_str(), F_OK) != 0) {
        return Fail(kNotFound, "there is no file " + file);
    }
    const switch_check::Findings findings = switch_check::Check(file, options);
    for (const switch_check::Finding& finding : findings) {
        PrintLine(Line(finding));
    }
    return switch_check::IsFit(findings)
               ? kSuccess
               : Fail(kFailure, file + " is not fit to be the daemon's switch");
}

}  // namespace

void AddSwitchCommands(CLI::App& app, int& exitCode) {
    struct Arguments {
        std::string File;
        unsigned int Timeout = kDefaultTimeout;
        bool LoadsModules = false;
    };
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const group = app.add_subcommand("switch", "Check switch libraries");
    group->require_subcommand(1);

    CLI::App* const check =
        group->add_subcommand("check", "Tell whether a library is fit to be the daemon's switch");
    check->add_option("FILE", arguments->File, "The library; it is loaded in a child process")
        ->required();
    check->add_flag("--load-modules", arguments->LoadsModules,
                    "Also let it load and start its modules");
    check->add_option("--timeout", arguments->Timeout, "Seconds for all that the library does")
        ->check(CLI::Range(1U, kLongestTimeout))
        ->capture_default_str();
    check->callback([arguments, &exitCode] {
        const switch_check::Options options{std::chrono::seconds(arguments->Timeout),
                                            arguments->LoadsModules};
        exitCode = ShowCheck(arguments->File, options);
    });
}

}  // namespace tools

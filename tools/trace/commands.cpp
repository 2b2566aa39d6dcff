// morlactl trace: what the daemon traced, of this machine or another.
#include <CLI/CLI.hpp>
#include <memory>

#include "tools/command.h"
#include "tools/trace/report.h"
#include "tools/trace/show.h"
#include "tools/trace/sources.h"

namespace tools {

namespace {

constexpr char kNotes[] =
    "Without a verb: show. Without a FILE: the daemon's rings and log file in the directory in\n"
    "force, merged by time. A FILE is a ring, a packed start-up ring, a log file, or a folder with\n"
    "those, also of another machine.";
constexpr char kTimes[] =
    "A TIME is \"2024-03-07 14:05\", 14:05:09, \"10 min ago\", now, today, yesterday, boot (of this\n"
    "machine) or start (of the program that was traced).";

// An unset variable of a script is not to show everything.
std::string NotEmpty(const std::string& value) {
    return value.empty() ? "must not be empty" : "";
}

void AddFiles(CLI::App* command, std::vector<std::string>& files) {
    command->add_option("FILE", files, "Ring, packed ring, log file, or a folder with them");
}

void AddSelection(CLI::App* show, TraceShowArguments& arguments) {
    show->add_option("--since", arguments.Since, "Only entries from this time on")
        ->type_name("TIME")
        ->check(NotEmpty);
    show->add_option("--until", arguments.Until, "Only entries up to this time")
        ->type_name("TIME")
        ->check(NotEmpty);
    show->add_option("--thread", arguments.Threads, "Only entries of this thread, as in [00F5A7C0]")
        ->type_name("ID")
        ->expected(1);
    show->add_option("--source", arguments.Sources, "Only entries with this name in their header")
        ->type_name("NAME")
        ->expected(1);
    CLI::Option* const grep =
        show->add_option("-g,--grep", arguments.Pattern,
                         "Only entries whose text matches this extended regular expression")
            ->type_name("REGEX")
            ->check(NotEmpty);
    show->add_option("--context", arguments.Context, "And N entries before and behind each")
        ->type_name("N")
        ->needs(grep)
        ->check(CLI::Range(0, 1'000'000));
}

void AddShow(CLI::App* group, int& exitCode) {
    const auto arguments = std::make_shared<TraceShowArguments>();
    CLI::App* const show = group->add_subcommand("show", "Print entries, oldest first");
    show->footer(kTimes);
    AddFiles(show, arguments->Files);
    CLI::Option* const follow =
        show->add_flag("-f,--follow", arguments->IsFollowing, "Go on with what is written");
    show->add_option("-n,--last", arguments->Last, "Only the last N entries")
        ->type_name("N")
        ->check(CLI::Range(1, 1'000'000'000));
    AddSelection(show, *arguments);
    CLI::Option* const json =
        show->add_flag("--json", arguments->AsJson, "Print JSON, an object a line");
    CLI::Option* const header = show->add_flag("--header", arguments->WantsHeader,
                                               "Print the settings that the files record instead");
    show->add_flag("--raw", arguments->IsRaw, "Print entries as they are in the file")
        ->excludes(json)
        ->excludes(header);
    show->add_option("--color", arguments->Colour, "auto, always or never")
        ->check(CLI::IsMember({"auto", "always", "never"}));
    show->add_flag("--no-pager", arguments->HasNoPager, "Start no pager on a terminal");
    header->excludes(follow);
    show->callback([arguments, &exitCode] { exitCode = ShowTrace(*arguments); });
}

void AddReport(CLI::App* group, const char* name, const char* help, int& exitCode,
               int (*run)(const std::vector<trace_reader::TraceFile>&, bool)) {
    struct Arguments {
        std::vector<std::string> Files;
        bool AsJson = false;
    };
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const command = group->add_subcommand(name, help);
    AddFiles(command, arguments->Files);
    command->add_flag("--json", arguments->AsJson, "Print JSON, an object a file");
    command->callback([arguments, &exitCode, run] {
        std::vector<std::string> paths;
        exitCode = FindTraceFiles(arguments->Files, paths);
        if (exitCode != kSuccess) {
            return;
        }
        std::vector<trace_reader::TraceFile> files;
        const int opened = OpenTraceFiles(paths, files);
        const int code = run(files, arguments->AsJson);
        exitCode = TellReadErrors(files, opened != kSuccess ? opened : code);
    });
}

}  // namespace

void AddTraceCommands(CLI::App& app, int& exitCode) {
    CLI::App* const group = app.add_subcommand("trace", "Show, count and check traces");
    group->require_subcommand(1);
    group->footer(kNotes);
    AddShow(group, exitCode);
    AddReport(group, "stat", "Print times, entries, sources, threads and pauses", exitCode,
              ReportTraceStatistics);
    AddReport(group, "check", "Look for damage; exit code 1 when there is some", exitCode,
              ReportTraceDamage);
}

std::vector<std::string> WithDefaultVerb(std::vector<std::string> arguments) {
    constexpr std::size_t kVerb = 1;
    if (!arguments.empty() && arguments.front() == "trace") {
        const std::string verb = arguments.size() > kVerb ? arguments[kVerb] : "";
        if (verb != "show" && verb != "stat" && verb != "check" && verb != "--help" &&
            verb != "-h") {
            arguments.insert(arguments.begin() + kVerb, "show");
        }
    }
    return arguments;
}

}  // namespace tools

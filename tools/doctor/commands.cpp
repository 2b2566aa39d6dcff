// morlactl doctor: what keeps the daemon from starting or tracing, and the cure.
#include <CLI/CLI.hpp>
#include <memory>

#include "tools/command.h"
#include "tools/doctor/judge.h"
#include "tools/doctor/reader.h"

namespace tools {

namespace {

constexpr char kNotes[] =
    "One line for each thing: ok, warning or error, and behind an arrow the cure.\n"
    "It looks only: it writes nothing, takes no lock and starts no program.\n"
    "Exit codes: 0 nothing or warnings only, 1 an error.";

int Diagnose(bool asJson) {
    const doctor::CFindings findings = doctor::Judge(doctor::ReadFacts());
    if (asJson) {
        PrintLine(json_text::Dump(doctor::DescribeFindings(findings)));
    } else {
        for (const doctor::Finding& finding : findings.List()) {
            PrintLine(doctor::ShowFinding(finding));
        }
    }
    return findings.HasErrors() ? kFailure : kSuccess;
}

}  // namespace

void AddDoctorCommands(CLI::App& app, int& exitCode) {
    const auto asJson = std::make_shared<bool>(false);
    CLI::App* const command = app.add_subcommand(
        "doctor", "Find out what keeps the daemon from starting or tracing, and how to cure it");
    command->footer(kNotes);
    command->add_flag("--json", *asJson, "Print JSON");
    command->callback([asJson, &exitCode] { exitCode = Diagnose(*asJson); });
}

}  // namespace tools

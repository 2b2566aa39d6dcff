// Where the daemon learns at a stop whether the machine goes down.
#include <cerrno>

#include "base/paths.h"
#include "os/run_level.h"
#include "tools/doctor/judge.h"

namespace doctor {

namespace {

void JudgeFile(const RunLevelFacts& runLevel, const std::string& why, CFindings& findings) {
    const std::string source = "from " + runLevel.File.Path + " (" + why + ")";
    const std::string remove = "rm " + runLevel.File.Path;
    if (runLevel.File.Error == ENOENT || runLevel.File.Error == ENOTDIR) {
        findings.Ok("run-level", source + "; absent, as it should be while the system runs");
        return;
    }
    if (const std::string writers = WritersBesideRoot(runLevel.File);
        runLevel.File.IsThere() && !writers.empty()) {
        findings.Error("run-level", source + ", which " + writers, remove);
        return;
    }
    const auto level = ParseRunLevelText(runLevel.Text);
    if (level && IsOsShutdown(*level)) {
        findings.Warning("run-level",
                         source + ", which says " + std::to_string(*level) +
                             " already: the next stop is told as " +
                             (*level == kRunLevelHalt ? "a halt" : "a reboot"),
                         remove);
    } else {
        findings.Warning("run-level", source + ", which says neither 0 nor 6: a stop is told as -1",
                         remove);
    }
}

}  // namespace

void JudgeRunLevel(const RunLevelFacts& runLevel, const char* nickname, CFindings& findings) {
    const std::string name = nickname != nullptr ? nickname : "";
    if (runLevel.HasSystemctl) {
        JudgeFile(runLevel, std::string(paths::kSystemctl) + " is there", findings);
    } else if (HasRunLevelFile(name)) {
        JudgeFile(runLevel, "HX_NICKNAME is " + name, findings);
    } else if (runLevel.HasUtmp || runLevel.HasProgram) {
        findings.Ok("run-level", std::string("from ") + (runLevel.HasUtmp ? "utmp" : "") +
                                     (runLevel.HasUtmp && runLevel.HasProgram ? ", then " : "") +
                                     (runLevel.HasProgram ? paths::kRunLevelProgram : ""));
    } else {
        findings.Warning("run-level",
                         "nothing tells it: no systemctl, no utmp and no runlevel program",
                         "set HX_NICKNAME and have the run-level file written at a shutdown");
    }
}

}  // namespace doctor

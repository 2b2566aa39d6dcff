// The switch library, its settings and its modules.
#include <cerrno>

#include "base/paths.h"
#include "switch/switch_settings.h"
#include "tools/doctor/judge.h"
#include "tools/doctor/library_search.h"

namespace doctor {

void JudgeSwitch(const SwitchFacts& library, CFindings& findings) {
    if (library.Path.empty()) {
        std::string searched;
        for (const std::string& folder : library.Searched) {
            searched += (searched.empty() ? "" : ", ") + folder;
        }
        findings.Error(
            "switch",
            "libswitch.so is not found, so the daemon does not start; looked in " + searched,
            "install it into one of these folders, or set LD_LIBRARY_PATH");
    } else if (const char* const problem = LibraryProblem(library.Head)) {
        findings.Error("switch", library.Path + " (" + library.How + ") " + problem,
                       "install a switch library for this machine");
    } else if (!library.Distrust.empty()) {
        findings.Error("switch",
                       library.Path + " (" + library.How + "): " + library.Distrust +
                           "; what it does is done as root",
                       "chown root and chmod go-w what is named");
    } else if (!library.Misfit.empty()) {
        findings.Error("switch",
                       library.Path + " (" + library.How + ") is not fit: " + library.Misfit,
                       "install another; morlactl switch check " + library.Path + " tells all");
    } else if (library.IsReplaced) {
        findings.Warning("switch", library.Path + " was replaced since the daemon loaded it",
                         "restart the daemon");
    } else {
        findings.Ok("switch",
                    library.Path + " (" + library.How + ") is fit to be the daemon's switch");
    }
}

namespace {

// False when the switch would refuse to load modules with these settings.
bool JudgeSettings(const ModulesFacts& modules, CFindings& findings) {
    const std::string file = paths::kSwitchConfigFile;
    if (modules.SettingsError == ENOENT) {
        findings.Ok("settings", file + " is not there: defaults");
        return true;
    }
    if (modules.SettingsError != 0) {
        findings.Error("settings",
                       file + " is not used, and no module is loaded: " + modules.SettingsProblem,
                       "chown root " + file + "; chmod go-w " + file);
        return false;
    }
    const CSwitchSettings settings = CSwitchSettings::Parse(modules.Settings);
    bool isFine = true;
    for (const char* const key : {"InitTimeoutMs", "StopTimeoutMs"}) {
        bool isRefused = false;
        (void)settings.FindTimeout("Modules", key, std::chrono::milliseconds(1), isRefused);
        if (isRefused) {
            findings.Warning("settings",
                             file + ": " + key + "=" + settings.Find("Modules", key) +
                                 " is not 1 to 600000, so the default holds",
                             "correct it");
            isFine = false;
        }
    }
    if (isFine) {
        findings.Ok("settings", file + " is read");
    }
    return true;
}

}  // namespace

void JudgeModules(const ModulesFacts& modules, CFindings& findings) {
    if (!JudgeSettings(modules, findings)) {
        return;
    }
    if (modules.DirectoryError != 0) {
        findings.Error("modules", "no module is loaded: " + modules.DirectoryProblem,
                       modules.DirectoryError == ENOENT
                           ? "install -d -o root -g root -m 755 " + modules.Directory
                           : "chown root and chmod go-w what is named");
        return;
    }
    for (const std::string& problem : modules.Refused) {
        findings.Error("modules", "refused: " + problem, "chown root and chmod go-w what is named");
    }
    findings.Ok("modules", modules.Directory + " holds " + std::to_string(modules.Modules.size()) +
                               (modules.Modules.size() == 1 ? " module" : " modules"));
}

}  // namespace doctor

// Configuration, libraries and modules.
#include <cerrno>
#include <chrono>

#include "base/directory.h"
#include "base/error_text.h"
#include "base/kernel_file.h"
#include "base/paths.h"
#include "base/trusted_path.h"
#include "switch/switch_settings.h"
#include "tools/doctor/library_search.h"
#include "tools/doctor/reader.h"
#include "tools/switch_check/check.h"

namespace doctor {

namespace {

constexpr std::size_t kLargestConfig = std::size_t{64} << 20U;  // as the trace has it
constexpr std::size_t kLargestCache = std::size_t{64} << 20U;
constexpr std::size_t kHeadBytes = 64;

TraceFileFacts ReadTraceFile(const std::string& name) {
    const std::string path = std::string(paths::kTraceConfigDirectory) + "/" + name;
    TraceFileFacts file;
    file.Name = name;
    file.Status = ReadPath(path);
    file.Error = ReadKernelFile(path.c_str(), file.Text, kLargestConfig + 1);
    if (file.Text.size() > kLargestConfig) {
        file.Error = EFBIG;
        file.Text.clear();
    }
    return file;
}

// Takes the file when it is there; the loader passes over one that is for another machine.
bool TryLibrary(const std::string& path, const char* how, SwitchFacts& facts) {
    std::string head;
    if (ReadKernelFile(path.c_str(), head, kHeadBytes) != 0) {
        return false;
    }
    const bool isFit = LibraryProblem(head) == nullptr;
    if (isFit || facts.Path.empty()) {
        facts.Path = path;
        facts.How = how;
        facts.Head = head;
    }
    return isFit;
}

bool TryFolders(const std::vector<std::string>& folders, const char* how, SwitchFacts& facts) {
    for (const std::string& folder : folders) {
        facts.Searched.push_back(folder);
        if (TryLibrary(folder + "/" + paths::kSwitchLibrary, how, facts)) {
            return true;
        }
    }
    return false;
}

// In the loader's order. A daemon that runs has told already which it took.
void FindSwitch(int daemonPid, const EnvironmentFacts& environment, SwitchFacts& facts) {
    if (daemonPid != 0) {
        std::string maps;
        const std::string file =
            std::string(paths::kProc) + "/" + std::to_string(daemonPid) + "/maps";
        (void)ReadKernelFile(file.c_str(), maps);
        std::string path = FindMapped(maps, paths::kSwitchLibrary);
        constexpr std::string_view kDeleted = " (deleted)";
        facts.IsReplaced = path.ends_with(kDeleted);
        if (facts.IsReplaced) {
            path.resize(path.size() - kDeleted.size());
        }
        if (!path.empty() && TryLibrary(path, "loaded by the daemon", facts)) {
            return;
        }
    }
    const char* const libraryPath = environment.Find("LD_LIBRARY_PATH");
    if (libraryPath != nullptr &&
        TryFolders(SearchFolders(libraryPath), "by LD_LIBRARY_PATH", facts)) {
        return;
    }
    std::string cache;
    (void)ReadKernelFile(paths::kLoaderCache, cache, kLargestCache);
    const auto cached = FindInLoaderCache(cache, paths::kSwitchLibrary);
    if (cached && TryLibrary(*cached, "by the loader's cache", facts)) {
        return;
    }
    (void)TryFolders({std::begin(paths::kLibraryFolders), std::end(paths::kLibraryFolders)},
                     "in a system folder", facts);
}

void ReadModuleFolder(ModulesFacts& facts) {
    std::string place;
    facts.DirectoryError =
        ResolveTrustedPath(facts.Directory, PathKind::kDirectory, place, facts.DirectoryProblem);
    std::vector<std::string> names;
    if (facts.DirectoryError == 0) {
        facts.DirectoryError = ListDirectory(place, names);
        facts.DirectoryProblem = place + ": " + CErrorText(facts.DirectoryError).Get();
    }
    for (const std::string& name : names) {
        if (!name.ends_with(".so") || name.starts_with('.')) {
            continue;
        }
        std::string module;
        std::string problem;
        facts.Modules.push_back(place);
        facts.Modules.back().append("/").append(name);
        if (ResolveTrustedPath(facts.Modules.back(), PathKind::kRegularFile, module, problem) !=
            0) {
            facts.Refused.push_back(problem);
        }
    }
}

// What the check of switch libraries has against the library.
std::string FindMisfit(const std::string& path) {
    constexpr std::chrono::seconds kTimeout(5);
    for (const switch_check::Finding& finding : switch_check::Check(path, {kTimeout, false})) {
        if (finding.Judgement == tools::Verdict::kError) {
            return finding.Check + ": " + finding.What;
        }
    }
    return "";
}

}  // namespace

TraceConfigFacts ReadTraceConfig() {
    TraceConfigFacts facts;
    std::vector<std::string> names;
    facts.Error = ListDirectory(paths::kTraceConfigDirectory, names);
    for (const std::string& name : names) {
        if (name.find(".ini") != std::string::npos) {
            facts.Files.push_back(ReadTraceFile(name));
        }
    }
    return facts;
}

SwitchFacts ReadSwitch(int daemonPid, const EnvironmentFacts& environment) {
    SwitchFacts facts;
    FindSwitch(daemonPid, environment, facts);
    std::string resolved;
    if (!facts.Path.empty()) {
        (void)ResolveTrustedPath(facts.Path, PathKind::kRegularFile, resolved, facts.Distrust);
    }
    // Only what none but root can have changed is run here. A daemon that runs has shown already
    // that its library is fit.
    if (!resolved.empty() && facts.Distrust.empty() && daemonPid <= 0) {
        facts.Misfit = FindMisfit(resolved);
    }
    return facts;
}

ModulesFacts ReadModules() {
    ModulesFacts facts;
    std::string path;
    facts.SettingsError = ResolveTrustedPath(paths::kSwitchConfigFile, PathKind::kRegularFile, path,
                                             facts.SettingsProblem);
    if (facts.SettingsError == 0) {
        facts.SettingsError = ReadKernelFile(path.c_str(), facts.Settings);
        facts.SettingsProblem = path + ": " + CErrorText(facts.SettingsError).Get();
    }
    const CSwitchSettings settings = CSwitchSettings::Parse(facts.Settings);
    const char* const configured = settings.Find("Modules", "Directory");
    facts.Directory = configured != nullptr ? configured : paths::kModuleDirectory;
    ReadModuleFolder(facts);
    return facts;
}

}  // namespace doctor

#include "trace_reader/trace_directory.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "base/directory.h"
#include "base/paths.h"
#include "trace/trace_config_file.h"
#include "trace/trace_settings.h"

namespace trace_reader {

std::string FindTraceDirectory(const char* application) {
    std::vector<std::string> names;
    const bool isListed = ListDirectory(paths::kTraceConfigDirectory, names) == 0;
    std::erase_if(names,
                  [](const std::string& name) { return name.find(".ini") == std::string::npos; });
    if (isListed && names.empty()) {
        // Deliberate: as the trace facility has it, not even the variable counts then.
        return {};
    }
    trace::FileSettings settings;
    CDebugTraceConfigFile file;
    const auto hasSection = [&](const std::string& name) {
        return file.OpenSectionInIniFile(application, name.c_str(), paths::kTraceConfigDirectory);
    };
    if (std::any_of(names.begin(), names.end(), hasSection)) {
        settings.Directory =
            file.Value(trace::kDirectory.Key, trace::kDirectoryLimit).value_or(std::string_view());
    }
    const auto findVariable = [](const char* name) -> const char* {
        return std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nothing here changes it
    };
    return std::string(trace::SettingsInForce(settings, 0, findVariable)
                           .Directory.substr(0, trace::kDirectoryLimit - 1));
}

TracePaths PathsIn(const std::string& directory, const char* application) {
    const std::string log = directory + "/log." + application;
    return {log, log + "_i", log + "_i.gz", log + "_a"};
}

std::vector<std::string> ListTraceFiles(const std::string& directory, const char* application) {
    const TracePaths paths = PathsIn(directory, application);
    std::vector<std::string> files;
    const auto add = [&files](const std::string& path) {
        const bool isThere = access(path.c_str(), F_OK) == 0;
        if (isThere) {
            files.push_back(path);
        }
        return isThere;
    };
    if (!add(paths.StartUpRing)) {
        add(paths.PackedStartUpRing);
    }
    add(paths.ActiveRing);
    add(paths.Log);
    return files;
}

}  // namespace trace_reader

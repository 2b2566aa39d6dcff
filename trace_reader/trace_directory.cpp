#include "trace_reader/trace_directory.h"

#include <unistd.h>

#include <cstdlib>

#include "base/directory.h"
#include "base/paths.h"
#include "trace/trace_config_file.h"

namespace trace_reader {

std::string FindTraceDirectory(const char* application) {
    constexpr std::size_t kLimit = 255;
    std::vector<std::string> names;
    const bool isListed = ListDirectory(paths::kTraceConfigDirectory, names) == 0;
    std::erase_if(names,
                  [](const std::string& name) { return name.find(".ini") == std::string::npos; });
    if (isListed && names.empty()) {
        // Deliberate: as the trace facility has it, not even the variable counts then.
        return {};
    }
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here changes the environment
    if (const char* const directory = std::getenv("HX_LOG_RINGBUF_DIR"); directory != nullptr) {
        return std::string(directory).substr(0, kLimit);
    }
    CDebugTraceConfigFile file;
    for (const std::string& name : names) {
        if (file.OpenSectionInIniFile(application, name.c_str(), paths::kTraceConfigDirectory)) {
            const auto value = file.Value("RingBufferDirectory", kLimit + 1);
            if (value && !value->empty()) {
                return std::string(value->substr(0, kLimit));
            }
            break;
        }
    }
    return paths::kTraceDirectory;
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

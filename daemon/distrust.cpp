#include "daemon/distrust.h"

#include <cerrno>
#include <string>
#include <vector>

#include "base/directory.h"
#include "base/memory_failure.h"
#include "base/paths.h"
#include "daemon/daemon_tag.h"
#include "daemon/guarded_trace.h"

using daemon_names::kTag;

void WarnOfWriters(const char* what, const char* path, PathKind kind) {
    if (!Debug.IsTracingActive()) {
        return;
    }
    (void)FalseWithoutMemory([&] {
        std::string resolved;
        std::string problem;
        if (ResolveTrustedPath(path, kind, resolved, problem) == EPERM) {
            TraceIfActive(1, "%s-MAIN: ## WARNING! %s %s\n", kTag, what, problem.c_str());
        }
        return true;
    });
}

void WarnOfConfigurationWriters() {
    if (!Debug.IsTracingActive()) {
        return;
    }
    static constexpr char kWhat[] = "trace configuration";
    WarnOfWriters(kWhat, paths::kTraceConfigDirectory, PathKind::kDirectory);
    (void)FalseWithoutMemory([] {
        std::vector<std::string> names;
        (void)ListDirectory(paths::kTraceConfigDirectory, names);
        for (const std::string& name : names) {
            const std::string path = std::string(paths::kTraceConfigDirectory) + "/" + name;
            if (name.find(".ini") != std::string::npos) {
                WarnOfWriters(kWhat, path.c_str(), PathKind::kRegularFile);
            }
        }
        return true;
    });
}

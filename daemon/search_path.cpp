#include "daemon/search_path.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <string_view>

#include "base/memory_failure.h"
#include "base/paths.h"
#include "base/trusted_path.h"
#include "daemon/daemon_tag.h"
#include "daemon/guarded_trace.h"

using daemon_names::kTag;

namespace {

bool IsWritableByEverybody(const std::string& place) {
    struct stat status {};
    return stat(place.c_str(), &status) != 0 || (status.st_mode & S_IWOTH) != 0;
}

// Where the folder is, or would be made: 0, or an errno number.
int LookAtFolder(std::string place, PathProblems& problems) {
    int error = FindPathProblems(place, problems);
    while (error == ENOENT && place.size() > 1) {
        place.resize(std::max<std::size_t>(place.rfind('/'), 1));
        error = FindPathProblems(place, problems);
    }
    return error;
}

// Why programs of the folder are not to be trusted; null when they are. A group that may write is
// root's choice.
const char* FindReason(const std::string& folder) {
    PathProblems problems;
    if (!folder.starts_with('/')) {
        return "not absolute";
    }
    if (LookAtFolder(folder, problems) != 0) {
        return "not to be looked at";
    }
    if (!problems.OtherOwner.empty()) {
        return "not root's";
    }
    const auto& open = problems.WritableByOthers;
    return std::any_of(open.begin(), open.end(), IsWritableByEverybody) ? "writable by everybody"
                                                                        : nullptr;
}

std::string TrustedFolders(std::string_view path) {
    std::string trusted;
    for (std::size_t begin = 0; begin <= path.size();) {
        const std::size_t end = std::min(path.find(':', begin), path.size());
        const std::string folder(path.substr(begin, end - begin));
        if (const char* const reason = FindReason(folder)) {
            TraceIfActive(1, "%s-MAIN: ## WARNING! \"%s\" left out of PATH: %s\n", kTag,
                          folder.c_str(), reason);
        } else {
            trusted.append(trusted.empty() ? "" : ":").append(folder);
        }
        begin = end + 1;
    }
    return trusted;
}

}  // namespace

// NOLINTBEGIN(concurrency-mt-unsafe): there is one thread
void LeaveOpenSearchFolders() {
    const char* const path = std::getenv("PATH");
    if (path == nullptr) {
        return;
    }
    const bool isDone = FalseWithoutMemory([path] {
        const std::string trusted = TrustedFolders(path);
        return trusted == path ||
               setenv("PATH", trusted.empty() ? paths::kProgramPath : trusted.c_str(), 1) == 0;
    });
    if (!isDone) {
        (void)unsetenv("PATH");  // then the shell has its own
    }
}
// NOLINTEND(concurrency-mt-unsafe)

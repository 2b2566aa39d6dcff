#include "tools/trace/sources.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "base/error_text.h"
#include "tools/command.h"
#include "trace_reader/trace_directory.h"

namespace tools {

using trace_reader::TraceFile;

int FindTraceFiles(const std::vector<std::string>& names, std::vector<std::string>& paths) {
    std::vector<std::string> searched = names;
    if (searched.empty()) {
        const std::string directory = trace_reader::FindTraceDirectory(kTracedApplication);
        searched.push_back(directory.empty() ? "/" : directory);
    }
    for (const std::string& name : searched) {
        struct stat status {};
        if (stat(name.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
            if (names.empty()) {
                return Fail(kNotFound, "there is no folder " + name + ", where traces would be");
            }
            paths.push_back(name);
            continue;
        }
        const auto found = trace_reader::ListTraceFiles(name, kTracedApplication);
        if (found.empty() && access(name.c_str(), R_OK | X_OK) != 0) {
            return Fail(kFailure, "cannot read folder " + name + ": " + CErrorText(errno).Get());
        }
        if (found.empty()) {
            return Fail(kNotFound, "there are no trace files in " + name);
        }
        paths.insert(paths.end(), found.begin(), found.end());
    }
    return kSuccess;
}

int OpenTraceFiles(const std::vector<std::string>& paths, std::vector<TraceFile>& files) {
    int code = kSuccess;
    for (const std::string& path : paths) {
        TraceFile file;
        const int error = trace_reader::OpenTraceFile(path, file);
        if (error != 0) {
            const std::string why =
                error == EINVAL ? std::string("not a regular file") : CErrorText(error).Get();
            code = Fail(error == ENOENT ? kNotFound : kFailure,
                        std::string("cannot read ").append(path).append(": ").append(why));
            continue;
        }
        if (!file.Defect.empty()) {
            code = Fail(kFailure, path + ": " + file.Defect + "; what came before that is shown");
        }
        files.push_back(std::move(file));
    }
    std::stable_partition(files.begin(), files.end(),
                          [](const TraceFile& file) { return file.IsRing; });
    return code;
}

int TellReadErrors(const std::vector<TraceFile>& files, int code) {
    for (const TraceFile& file : files) {
        if (const int error = file.Bytes->Error(); error != 0) {
            code =
                Fail(kFailure, "cannot read all of " + file.Path + ": " + CErrorText(error).Get());
        }
    }
    return code;
}

}  // namespace tools

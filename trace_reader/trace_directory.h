// Where the trace files of an application are, as its configuration and the environment say.
#pragma once

#include <string>
#include <vector>

namespace trace_reader {

// The directory in force, by the rules of the trace facility: the variable of this process, else
// the file's setting, else the default; empty when the configuration directory has no such file.
[[nodiscard]] std::string FindTraceDirectory(const char* application);

// The files that the application has in a directory, those that are there: log file, start-up ring
// (the plain one if there is one: a packed one beside it is of an earlier start), active ring.
struct TracePaths {
    std::string Log;
    std::string StartUpRing;
    std::string PackedStartUpRing;
    std::string ActiveRing;
};
[[nodiscard]] TracePaths PathsIn(const std::string& directory, const char* application);
[[nodiscard]] std::vector<std::string> ListTraceFiles(const std::string& directory,
                                                      const char* application);

}  // namespace trace_reader

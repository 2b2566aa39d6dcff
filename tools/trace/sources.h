// The files that a trace command is about.
#pragma once

#include <string>
#include <vector>

#include "trace_reader/trace_file.h"

namespace tools {

inline constexpr char kTracedApplication[] = "zentd";

// The named files; a folder stands for the daemon's files in it, and no name for those in the
// directory in force. 0, else the exit code, with a message.
[[nodiscard]] int FindTraceFiles(const std::vector<std::string>& names,
                                 std::vector<std::string>& paths);

// Opens them, rings first: of equal times their entries come first. Files that cannot be opened are
// told and left out; then the exit code says so.
[[nodiscard]] int OpenTraceFiles(const std::vector<std::string>& paths,
                                 std::vector<trace_reader::TraceFile>& files);

// Tells of files that could not be read to their end. The exit code: `code` when there is none.
[[nodiscard]] int TellReadErrors(const std::vector<trace_reader::TraceFile>& files, int code);

}  // namespace tools

// morlactl trace stat and check.
#pragma once

#include <vector>

#include "trace_reader/trace_file.h"

namespace tools {

// Exit codes. With JSON, one object a file and line.
[[nodiscard]] int ReportTraceStatistics(const std::vector<trace_reader::TraceFile>& files,
                                        bool asJson);
[[nodiscard]] int ReportTraceDamage(const std::vector<trace_reader::TraceFile>& files, bool asJson);

}  // namespace tools

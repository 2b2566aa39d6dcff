// Looks for damage in a trace file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "trace_reader/trace_file.h"

namespace trace_reader {

struct Finding {
    bool IsDamage = false;  // else worth knowing
    std::uint64_t Offset = 0;
    std::string What;
};

[[nodiscard]] std::vector<Finding> CheckTraceFile(const TraceFile& file);

}  // namespace trace_reader

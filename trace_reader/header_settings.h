// The settings that a program records at the top of its trace, as names and values.
#pragma once

#include <string>
#include <vector>

#include "trace_reader/trace_file.h"

namespace trace_reader {

struct HeaderSection {
    struct Setting {
        std::string Name;
        std::string Value;
    };
    std::string Title;  // "Command Line", "Environment", "Configuration File", ...
    std::vector<Setting> Settings;
};

// Empty when the file has no log header.
[[nodiscard]] std::vector<HeaderSection> ReadHeaderSettings(const TraceFile& file);

}  // namespace trace_reader

// The settings that a program records at the top of its trace, as names and values.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
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

// What the value of "Ring Buffer Size" means: it is written as a signed number.
[[nodiscard]] std::uint32_t RingSizeOf(std::string_view value);

// Empty when the file has no log header.
[[nodiscard]] std::vector<HeaderSection> ReadHeaderSettings(const TraceFile& file);

}  // namespace trace_reader

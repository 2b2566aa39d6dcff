// How busy the machine is: its load average and the memory that is available.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// The first field of /proc/loadavg, the average of the last minute, as it stands there; empty when
// there is none.
[[nodiscard]] std::string_view ParseLoadAverage(std::string_view text);
// The kibibytes of the "MemAvailable:" line of /proc/meminfo.
[[nodiscard]] std::optional<std::uint64_t> ParseAvailableMemory(std::string_view text);

struct SystemLoad {
    std::string LoadAverage;                       // empty: unknown
    std::optional<std::uint64_t> AvailableMemory;  // KiB
};
[[nodiscard]] SystemLoad ReadSystemLoad();

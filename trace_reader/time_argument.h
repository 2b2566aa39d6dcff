// Times as people type them, turned into the text that entries carry.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace trace_reader {

struct TimeArgument {
    enum class Kind { kTime, kBoot, kStart };  // start: of the program that wrote the trace
    Kind What = Kind::kTime;
    std::string Text;  // "yyyy-mm-dd hh:mm:ss" or ".mmm" behind it; of kTime only
};

// "2024-03-07", "2024-03-07 14:05", "14:05:09", "14:05:09.042", "now", "today", "yesterday",
// "10 min ago" (s, min, h, days, weeks), "boot", "start". `now` is the present time. Nothing when
// it is none of these.
[[nodiscard]] std::optional<TimeArgument> ParseTimeArgument(std::string_view text, std::time_t now);

// Local time as "yyyy-mm-dd hh:mm:ss".
[[nodiscard]] std::string LocalTimeText(std::time_t time);

// When the machine was started.
[[nodiscard]] std::time_t BootTime();

// An entry's time as a number, for differences; without regard to time zones.
[[nodiscard]] std::optional<std::int64_t> Milliseconds(std::string_view text);

}  // namespace trace_reader

// morlactl trace show: the entries of traces, once or as they come.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tools {

struct TraceShowArguments {
    std::vector<std::string> Files;
    bool IsFollowing = false;
    std::size_t Last = 0;  // 0: all, or ten when following
    std::string Since;
    std::string Until;
    std::vector<std::string> Threads;
    std::vector<std::string> Sources;
    std::string Pattern;
    std::size_t Context = 0;
    bool AsJson = false;
    bool WantsHeader = false;
    bool IsRaw = false;
    bool HasNoPager = false;
    std::string Colour = "auto";
};

// The exit code.
[[nodiscard]] int ShowTrace(const TraceShowArguments& arguments);

}  // namespace tools

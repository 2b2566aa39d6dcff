#include "modules/example/system_load.h"

#include <algorithm>
#include <charconv>

#include "base/kernel_file.h"
#include "base/paths.h"

std::string_view ParseLoadAverage(std::string_view text) {
    return text.substr(0, text.find_first_of(" \n"));
}

std::optional<std::uint64_t> ParseAvailableMemory(std::string_view text) {
    constexpr std::string_view kLabel = "MemAvailable:";
    const std::size_t label = text.find(kLabel);
    if (label == std::string_view::npos) {
        return std::nullopt;
    }
    text.remove_prefix(label + kLabel.size());
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    std::uint64_t kibibytes = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), kibibytes);
    if (error != std::errc()) {
        return std::nullopt;
    }
    return kibibytes;
}

SystemLoad ReadSystemLoad() {
    SystemLoad load;
    std::string text;
    if (ReadKernelFile(paths::kProcLoadAverage, text) == 0) {
        load.LoadAverage = ParseLoadAverage(text);
    }
    if (ReadKernelFile(paths::kProcMemoryInfo, text) == 0) {
        load.AvailableMemory = ParseAvailableMemory(text);
    }
    return load;
}

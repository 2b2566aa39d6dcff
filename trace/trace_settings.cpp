#include "trace/trace_settings.h"

#include <cstdlib>

#include "base/paths.h"

namespace trace {

namespace {

std::uint32_t ValueOr(std::uint32_t value, std::uint32_t otherwise) {
    return value != kSettingUnset ? value : otherwise;
}

}  // namespace

std::uint32_t VariableOr(const FindVariable& find, const char* name, std::uint32_t otherwise) {
    const char* const text = find(name);
    return text != nullptr ? static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10))
                           : otherwise;
}

Settings SettingsInForce(const FileSettings& files, std::uint32_t logFileLimit,
                         const FindVariable& find) {
    const auto number = [&find](const SettingName& name, std::uint32_t value,
                                std::uint32_t otherwise) {
        return VariableOr(find, name.Variable, ValueOr(value, otherwise));
    };
    Settings settings;
    settings.DynamicUpdate = number(kDynamicUpdate, files.DynamicUpdate, 0);
    settings.LogFileLimit = number(kLogFileLimit, logFileLimit, logFileLimit);
    // Deliberate: "HX_LOG_FILE_DIR" is shown in the log header and decides nothing; the ring's
    // directory is the log file's too.
    const char* const directory = find(kDirectory.Variable);
    if (directory != nullptr) {
        settings.Directory = directory;
    } else {
        settings.Directory = files.Directory.empty() ? paths::kTraceDirectory : files.Directory;
    }
    settings.Level = number(kDebugLevel, files.Level, 0);
    settings.Factor = number(kSizeFactor, files.Factor, 0);
    settings.Weight = number(kSizeWeight, files.Weight, 0);
    settings.NoHeader = number(kNoHeader, files.NoHeader, 1);
    return settings;
}

}  // namespace trace

// What the trace settings come to: a variable before a file before the default. Calls nothing.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

namespace trace {

// A setting that neither a file nor a variable gave.
inline constexpr std::uint32_t kSettingUnset = 0xFFFFFFFF;

// Where the settings stand.
inline constexpr char kGlobalFile[] = "global_trace.ini";
inline constexpr char kGlobalSection[] = "GlobalDebugSettings";
inline constexpr std::size_t kNumberLimit = 64;      // characters of a number that count
inline constexpr std::size_t kDirectoryLimit = 256;  // of the directory; one less is kept

// The keys of the configuration files, and the variable that comes before each ("" where none
// does).
struct SettingName {
    const char* Key;
    const char* Variable;
};
inline constexpr SettingName kDynamicUpdate{"DynamicUpdate", "HX_LOG_DYNAMIC_UPDATE"};
inline constexpr SettingName kDebugLevel{"FileDebugLevel", "HX_LOG_DEBUG_LEVEL"};
inline constexpr SettingName kTraceFlags{"TraceFlags", ""};
inline constexpr SettingName kDirectory{"RingBufferDirectory", "HX_LOG_RINGBUF_DIR"};
// Deliberate: the factor's variable bears the name of the agent's own limit.
inline constexpr SettingName kSizeFactor{"RingBufferSizeFactor", "TraceFileLimit"};
inline constexpr SettingName kSizeWeight{"RingBufferSizeWeight", "HX_LOG_RINGBUF_WEIGHT"};
// Deliberate: the variable is spelled so.
inline constexpr SettingName kNoHeader{"NoHeaderToStderr", "HX_LOG_NOHDR_TOSDTERR"};
inline constexpr SettingName kMemoryColumn{"MemoryTracesFlag", ""};
inline constexpr SettingName kLogFileLimit{"", "HX_LOG_FILE_MAX_SIZE"};

// The keys of an application's section.
inline constexpr std::array kApplicationSettings{
    kDirectory, kDebugLevel, kTraceFlags, kSizeFactor, kSizeWeight, kNoHeader, kMemoryColumn};

// What the configuration files say.
struct FileSettings {
    std::uint32_t DynamicUpdate = kSettingUnset;
    std::uint32_t Level = kSettingUnset;
    std::uint32_t Factor = kSettingUnset;
    std::uint32_t Weight = kSettingUnset;
    std::uint32_t NoHeader = kSettingUnset;
    std::string_view Directory;  // empty: unset
};

// What is in force.
struct Settings {
    std::uint32_t DynamicUpdate = 0;  // seconds; 0 = never
    std::uint32_t LogFileLimit = 0;   // bytes
    std::uint32_t Level = 0;
    std::uint32_t Factor = 0;
    std::uint32_t Weight = 0;
    std::uint32_t NoHeader = 0;
    std::string_view Directory;  // into the files' settings or a variable
};

// The value of an environment variable, null when it is not set.
using FindVariable = std::function<const char*(const char* name)>;

// A variable's number, in base 10; `otherwise` when it is not set at all. Set but empty reads as 0.
[[nodiscard]] std::uint32_t VariableOr(const FindVariable& find, const char* name,
                                       std::uint32_t otherwise);

// The weight of a single application, which is read later and only with a level, is not in it.
[[nodiscard]] Settings SettingsInForce(const FileSettings& files, std::uint32_t logFileLimit,
                                       const FindVariable& find);

}  // namespace trace

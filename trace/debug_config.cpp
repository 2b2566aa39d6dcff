// Settings: configuration files, environment, and the periodic look for changed files.
#include <dirent.h>

#include <cstdlib>
#include <cstring>

#include "base/bounded_text.h"
#include "base/cancellation.h"
#include "base/paths.h"
#include "trace/debug.h"
#include "trace/weight_variable.h"

namespace {

constexpr char kGlobalFile[] = "global_trace.ini";
constexpr char kGlobalSection[] = "GlobalDebugSettings";
constexpr std::size_t kDirectoryLimit = 256;

// A variable's number, in base 10; `otherwise` when it is not set at all. Set but empty reads as 0.
std::uint32_t NumberFromEnvironment(const char* name, std::uint32_t otherwise) {
    const char* text = std::getenv(name);
    return text != nullptr ? static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10))
                           : otherwise;
}

std::uint32_t ValueOr(std::uint32_t value, std::uint32_t otherwise) {
    return value != kTraceSettingUnset ? value : otherwise;
}

}  // namespace

bool CDebug::ReadDebugConfig(const char* applName) {
    dirent** files = nullptr;
    const int count =
        scandir(paths::kTraceConfigDirectory, &files, CDirectoryList::SelectFilesInDir, alphasort);
    if (count == 0) {
        // Deliberate: a directory without configuration files leaves even the environment unread,
        // and the trace directory empty.
        std::free(files);
        return true;
    }
    m_IniRingBufferSizeFactor = kTraceSettingUnset;
    m_IniRingBufferSizeWeight = kTraceSettingUnset;
    m_IniNoHeaderToStderr = kTraceSettingUnset;
    // Deliberate: unset is not zero, so the memory column is shown unless a file says 0.
    m_MemoryTracesFlag = kTraceSettingUnset;
    m_IniRingBufferDirectory[0] = '\0';
    ReadConfigFiles(applName, files, count);
    for (int i = 0; i < count; ++i) {
        std::free(files[i]);
    }
    std::free(files);
    ApplySettings();
    return true;
}

// `count` is negative when the directory could not be read.
void CDebug::ReadConfigFiles(const char* applName, dirent** files, int count) {
    if (m_GlobalConfig.OpenSectionInIniFile(kGlobalSection, kGlobalFile,
                                            paths::kTraceConfigDirectory)) {
        m_IniDynamicUpdate = m_GlobalConfig.Number("DynamicUpdate").value_or(m_IniDynamicUpdate);
    }
    for (int i = 0; i < count; ++i) {
        if (m_ApplConfig.OpenSectionInIniFile(applName, files[i]->d_name,
                                              paths::kTraceConfigDirectory)) {
            ReadApplicationSection();
            return;
        }
    }
}

void CDebug::ReadApplicationSection() {
    const auto read = [this](const char* key, std::uint32_t& setting) {
        setting = m_ApplConfig.Number(key).value_or(setting);
    };
    if (const auto directory = m_ApplConfig.Value("RingBufferDirectory", kDirectoryLimit)) {
        CopyText(m_IniRingBufferDirectory, *directory);
    }
    read("FileDebugLevel", m_IniDebugLevel);
    read("TraceFlags", m_TraceFlags);
    read("RingBufferSizeFactor", m_IniRingBufferSizeFactor);
    read("RingBufferSizeWeight", m_IniRingBufferSizeWeight);
    read("NoHeaderToStderr", m_IniNoHeaderToStderr);
    read("MemoryTracesFlag", m_MemoryTracesFlag);
}

// Puts the settings in force: environment before file before default.
void CDebug::ApplySettings() {
    m_DynamicUpdate =
        NumberFromEnvironment("HX_LOG_DYNAMIC_UPDATE", ValueOr(m_IniDynamicUpdate, 0));
    m_LogFileMaxSize = NumberFromEnvironment("HX_LOG_FILE_MAX_SIZE", m_LogFileMaxSize);
    // Deliberate: "HX_LOG_FILE_DIR" is shown in the log header and decides nothing; the ring's
    // directory is the log file's too.
    const char* directory = std::getenv("HX_LOG_RINGBUF_DIR");
    if (directory == nullptr) {
        directory =
            m_IniRingBufferDirectory[0] != '\0' ? m_IniRingBufferDirectory : paths::kTraceDirectory;
    }
    CopyText(m_TraceDirectory, directory);
    m_TraceLevel = NumberFromEnvironment("HX_LOG_DEBUG_LEVEL", ValueOr(m_IniDebugLevel, 0));
    // Deliberate: the factor's variable bears the name of the agent's own limit.
    m_RingBufferFactor =
        NumberFromEnvironment("TraceFileLimit", ValueOr(m_IniRingBufferSizeFactor, 0));
    m_RingBufferWeight =
        NumberFromEnvironment("HX_LOG_RINGBUF_WEIGHT", ValueOr(m_IniRingBufferSizeWeight, 0));
    // Deliberate: the variable is spelled so.
    m_NoHeaderToStderr =
        NumberFromEnvironment("HX_LOG_NOHDR_TOSDTERR", ValueOr(m_IniNoHeaderToStderr, 1));
    m_TraceLevelSaved = m_TraceLevel;
}

void CDebug::ReadWeightOfApplication() {
    m_RingBufferWeight =
        NumberFromEnvironment(trace::WeightVariable(ApplName()).Name, m_RingBufferWeight);
}

// Under the lock. Asks again whether the check is due: another thread may just have made it.
void CDebug::UpdateConfig() {
    if (!IsUpdateDue()) {
        return;
    }
    // A thread cancelled half-way would leave a change remembered that was not read.
    const CCancellationHold hold;
    m_LastDynamicCheck = std::time(nullptr);
    if (m_GlobalConfig.HasChanged() &&
        m_GlobalConfig.OpenSectionInIniFile(kGlobalSection, kGlobalFile,
                                            paths::kTraceConfigDirectory)) {
        if (const auto period = m_GlobalConfig.Number("DynamicUpdate")) {
            m_IniDynamicUpdate = *period;
            m_DynamicUpdate = *period;
        }
    }
    if (m_ApplConfig.HasChanged() &&
        m_ApplConfig.OpenSectionInIniFile(ApplName(), "", paths::kTraceConfigDirectory)) {
        if (const auto level = m_ApplConfig.Number("FileDebugLevel")) {
            m_IniDebugLevel = *level;
            m_TraceLevel = *level;
            m_TraceLevelSaved = *level;
        }
        m_TraceFlags = m_ApplConfig.Number("TraceFlags").value_or(m_TraceFlags);
        m_MemoryTracesFlag = m_ApplConfig.Number("MemoryTracesFlag").value_or(m_MemoryTracesFlag);
    }
}

void CDebug::BuildAppVarName(char* name, std::size_t size, const char* appl) {
    if (appl == nullptr || *appl == '\0') {
        return;
    }
    std::size_t length = strnlen(name, size);
    const auto append = [&](char c) {
        if (length + 1 < size) {
            name[length++] = c;
        }
    };
    append('_');
    for (; *appl != '\0'; ++appl) {
        append(*appl >= 'a' && *appl <= 'z' ? static_cast<char>(*appl - 'a' + 'A') : *appl);
    }
    if (length < size) {
        name[length] = '\0';
    }
}

char* CDebug::StringToLower(char* s) {
    for (char* c = s; c != nullptr && *c != '\0'; ++c) {
        if (*c >= 'A' && *c <= 'Z') {
            *c = static_cast<char>(*c - 'A' + 'a');
        }
    }
    return s;
}

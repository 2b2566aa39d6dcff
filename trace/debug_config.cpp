// Settings: configuration files, environment, and the periodic look for changed files.
#include <dirent.h>

#include <cstdlib>
#include <cstring>

#include "base/bounded_text.h"
#include "base/cancellation.h"
#include "base/paths.h"
#include "trace/debug.h"
#include "trace/trace_settings.h"
#include "trace/weight_variable.h"

namespace {

const char* FromEnvironment(const char* name) {
    return std::getenv(name);
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
    m_IniRingBufferSizeFactor = trace::kSettingUnset;
    m_IniRingBufferSizeWeight = trace::kSettingUnset;
    m_IniNoHeaderToStderr = trace::kSettingUnset;
    // Deliberate: unset is not zero, so the memory column is shown unless a file says 0.
    m_MemoryTracesFlag = trace::kSettingUnset;
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
    if (m_GlobalConfig.OpenSectionInIniFile(trace::kGlobalSection, trace::kGlobalFile,
                                            paths::kTraceConfigDirectory)) {
        m_IniDynamicUpdate =
            m_GlobalConfig.Number(trace::kDynamicUpdate.Key).value_or(m_IniDynamicUpdate);
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
    const auto read = [this](const trace::SettingName& name, std::uint32_t& setting) {
        setting = m_ApplConfig.Number(name.Key).value_or(setting);
    };
    if (const auto directory = m_ApplConfig.Value(trace::kDirectory.Key, trace::kDirectoryLimit)) {
        CopyText(m_IniRingBufferDirectory, *directory);
    }
    read(trace::kDebugLevel, m_IniDebugLevel);
    read(trace::kTraceFlags, m_TraceFlags);
    read(trace::kSizeFactor, m_IniRingBufferSizeFactor);
    read(trace::kSizeWeight, m_IniRingBufferSizeWeight);
    read(trace::kNoHeader, m_IniNoHeaderToStderr);
    read(trace::kMemoryColumn, m_MemoryTracesFlag);
}

// Puts the settings in force: environment before file before default.
void CDebug::ApplySettings() {
    const trace::FileSettings files{.DynamicUpdate = m_IniDynamicUpdate,
                                    .Level = m_IniDebugLevel,
                                    .Factor = m_IniRingBufferSizeFactor,
                                    .Weight = m_IniRingBufferSizeWeight,
                                    .NoHeader = m_IniNoHeaderToStderr,
                                    .Directory = m_IniRingBufferDirectory};
    const trace::Settings settings =
        trace::SettingsInForce(files, m_LogFileMaxSize, FromEnvironment);
    m_DynamicUpdate = settings.DynamicUpdate;
    m_LogFileMaxSize = settings.LogFileLimit;
    CopyText(m_TraceDirectory, settings.Directory);
    m_TraceLevel = settings.Level;
    m_RingBufferFactor = settings.Factor;
    m_RingBufferWeight = settings.Weight;
    m_NoHeaderToStderr = settings.NoHeader;
    m_TraceLevelSaved = settings.Level;
}

void CDebug::ReadWeightOfApplication() {
    m_RingBufferWeight = trace::VariableOr(FromEnvironment, trace::WeightVariable(ApplName()).Name,
                                           m_RingBufferWeight);
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
        m_GlobalConfig.OpenSectionInIniFile(trace::kGlobalSection, trace::kGlobalFile,
                                            paths::kTraceConfigDirectory)) {
        if (const auto period = m_GlobalConfig.Number(trace::kDynamicUpdate.Key)) {
            m_IniDynamicUpdate = *period;
            m_DynamicUpdate = *period;
        }
    }
    if (m_ApplConfig.HasChanged() &&
        m_ApplConfig.OpenSectionInIniFile(ApplName(), "", paths::kTraceConfigDirectory)) {
        if (const auto level = m_ApplConfig.Number(trace::kDebugLevel.Key)) {
            m_IniDebugLevel = *level;
            m_TraceLevel = *level;
            m_TraceLevelSaved = *level;
        }
        m_TraceFlags = m_ApplConfig.Number(trace::kTraceFlags.Key).value_or(m_TraceFlags);
        m_MemoryTracesFlag =
            m_ApplConfig.Number(trace::kMemoryColumn.Key).value_or(m_MemoryTracesFlag);
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

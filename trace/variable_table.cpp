#include "trace/variable_table.h"

#include <array>
#include <cstdlib>

namespace trace {

namespace {

constexpr auto kEnvironmentNames = std::to_array<const char*>({
    "LD_LIBRARY_PATH",
    "HX_SYSTEM",
    "HX_OS",
    "HX_OS_MAJOR",
    "HX_OS_MINOR",
    "HX_VVOS",
    "HX_RELEASE",
    "HX_VENDOR",
    "HX_HOSTNAME",
    "HX_HOSTOSREVMAJOR",
    "HX_HOSTOSREVMINOR",
    "HX_SYSNAME",
    "HX_VERSION",
    "HX_NICKNAME",
    "HX_HWPLATFORM",
    "HX_RUNNINGONVM",
    "HX_RUNNINGONPAN",
    "HX_VMREL",
    "HX_ARCH",
    "HX_REPO",
    "HX_RAID_EXISTS",
    "HX_RAID_READY",
    "HX_RAID_VERSION",
    "HX_INSTALL_DATE",
    "HX_USE_SG_IO_HDR_T",
    "HX_AGENT_X_SOCKET",
    "HX_ZENTD_REPLY_TIME",
    "HX_DAEMON_COREFILE_LIMIT",
    "HX_VME_WAIT_TIME_FOR_VMSERVER",
    "HX_SCS_PROVIDER_TRACE",
    "HX_SCS_NOSIGNAL",
    "HX_LOG_DYNAMIC_UPDATE",
    "HX_SCS_DEBUG_LEVEL",
    "HX_LOG_FILE_DIR",
    "HX_LOG_FILE_MAX_SIZE",
    "HX_LOG_RINGBUF_DIR",
    "HX_LOG_DEBUG_LEVEL",
    "HX_LOG_RINGBUF_WEIGHT",
    "HX_LOG_NOHDR_TOSDTERR",
    "KLT_HX_HOME",
    "KLT_SYSLOG_FIFO",
});

constexpr auto kAgentConfigurationNames = std::to_array<const char*>({
    "AgentPermission",
    "AgentShut",
    "ShutdownDelay",
    "UserGroup",
    "ScanTapeDevices",
    "TraceFileLimit",
    "NoAccountCheck",
    "InventoryRescan",
    "CDPollInterval",
    "AgentsToBeStarted",
    "WaitForZentdSockets",
    "WaitForZentdTerm",
    "InvAgtPollNetUtilization",
});

static_assert(kEnvironmentNames.size() == 41 && kAgentConfigurationNames.size() == 13);

}  // namespace

void CVariableTable::Record() {
    m_Values.assign(m_Names.size(), std::nullopt);
    for (std::size_t i = 0; i < m_Names.size(); ++i) {
        if (const char* value = std::getenv(m_Names[i])) {
            m_Values[i] = value;
        }
    }
}

const char* CVariableTable::Value(std::size_t index) const {
    return index < m_Values.size() && m_Values[index] ? m_Values[index]->c_str() : kNotSet;
}

std::span<const char* const> EnvironmentNames() {
    return kEnvironmentNames;
}

std::span<const char* const> AgentConfigurationNames() {
    return kAgentConfigurationNames;
}

}  // namespace trace

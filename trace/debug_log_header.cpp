// The log header: the process's settings at the top of every trace, one entry a line.
#include <cstdlib>

#include "trace/debug.h"
#include "trace/weight_variable.h"

namespace {

// Settings are shown as signed numbers, so that an unset one reads -1.
int Shown(std::uint64_t value) {
    return static_cast<int>(value);
}

}  // namespace

void CDebug::WriteLogHeader(unsigned int target) {
    if (m_Argc > 0) {
        PrintIt(target, "\n%s Command Line Options:", ApplName());
        for (int i = 0; i < m_Argc; ++i) {
            PrintIt(target, "\nargv[%d] = \"%s\"", i, m_Argv[i]);
        }
    }
    PrintIt(target, "\nOskaria Environment:");
    WriteVariables(target, m_Environment);
    const trace::WeightVariable weight(ApplName());
    const char* value = std::getenv(weight.Name);
    PrintIt(target, "\n%s=%s", weight.Name, value != nullptr ? value : trace::kNotSet);
    PrintIt(target, "\nOskaria Configuration File:");
    WriteVariables(target, m_AgentConfiguration);
    WriteFileSettings(target);
    WriteInternalValues(target);
    PrintIt(target, "\n# End of header.");
}

void CDebug::WriteVariables(unsigned int target, const trace::CVariableTable& table) {
    for (std::size_t i = 0; i < table.Count(); ++i) {
        PrintIt(target, "\n%s=%s", table.Name(i), table.Value(i));
    }
}

// What the files say, whatever the environment made of it.
void CDebug::WriteFileSettings(unsigned int target) {
    PrintIt(target, "\nDebug values from ini file :");
    PrintIt(target, "\nDynamicUpdate              : %d", Shown(m_IniDynamicUpdate));
    PrintIt(target, "\nDebugLevel                 : %d", Shown(m_IniDebugLevel));
    PrintIt(target, "\nRingBufferSizeFactor       : %d", Shown(m_IniRingBufferSizeFactor));
    PrintIt(target, "\nRingBufferSizeWeight       : %d", Shown(m_IniRingBufferSizeWeight));
    PrintIt(target, "\nRingBufferDirectory        : %s", m_IniRingBufferDirectory);
    PrintIt(target, "\nNo Header to LogFile       : %d", Shown(m_IniNoHeaderToStderr));
}

// What is in force.
void CDebug::WriteInternalValues(unsigned int target) {
    PrintIt(target, "\nInternal Debug values      :");
    PrintIt(target, "\nProcess PID                : %d", m_Pid);
    PrintIt(target, "\nTrace Target               : %d", Shown(m_Target));
    PrintIt(target, "\nTrace Level                : %d", Shown(m_TraceLevel));
    PrintIt(target, "\nTrace Level Saved          : %d", Shown(m_TraceLevelSaved));
    PrintIt(target, "\nApplication Init Done      : %d", static_cast<int>(m_ApplInitDone));
    PrintIt(target, "\nLogFile Path               : %s", m_LogFilePath);
    PrintIt(target, "\nLogFile Max Size           : %d", Shown(m_LogFileMaxSize));
    PrintIt(target, "\nRing Buffer FD             : %d", m_RingBufferFd.Get());
    PrintIt(target, "\nRing Buffer Factor         : %d", Shown(m_RingBufferFactor));
    PrintIt(target, "\nRing Buffer Weight         : %d", Shown(m_RingBufferWeight));
    PrintIt(target, "\nRing Buffer Size           : %d", Shown(m_RingBufferSize));
    PrintIt(target, "\nRing Buffer Directory      : %s", m_TraceDirectory);
    PrintIt(target, "\nRing Buffer Path           : %s", m_RingBufferPathActive);
    PrintIt(target, "\nNo Header to LogFile       : %d", Shown(m_NoHeaderToStderr));
}

// Life cycle: construction, start, end of initialisation, end.
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "base/bounded_text.h"
#include "base/cancellation.h"
#include "base/owned_text.h"
#include "trace/debug.h"
#include "trace/shell_word.h"
#include "trace/trace_settings.h"

namespace {

constexpr char kTrailer[] = "## TRACE-END ##\n";
constexpr std::uint32_t kLogFileMaxSize = 51200;  // bytes
constexpr long kDefaultPageSize = 4096;
constexpr char kNoStartTime[] = "\nwww mmm dd hh:mm:ss yyyy";

}  // namespace

CDebug::CDebug() {
    ClassInit();
}

CDebug::CDebug(const char* applName) : CDebug() {
    if (applName != nullptr && *applName != '\0' && !CDebug::Init(applName)) {
        syslog(LOG_ERR, "ERROR: Error during initialization of the CDebug instance.\n");
    }
}

void CDebug::ClassInit() {
    m_IniDebugLevel = trace::kSettingUnset;
    CopyText(m_Trailer, kTrailer);
    m_TrailerLength = sizeof kTrailer - 1;
    m_LogFileMaxSize = kLogFileMaxSize;
}

bool CDebug::Init(const char* applName) {
    const CCriticalSectionGuard guard(m_Lock);
    try {
        return Start(applName);
    } catch (const std::bad_alloc&) {
        SwitchTracingOff();
        return false;
    }
}

bool CDebug::Start(const char* applName) {
    RecordProcess(applName);
    ReadDebugConfig(ApplName());
    m_TracingActive = m_TraceLevel != 0;
    OpenLogFile();
    return m_TracingActive ? StartWithRing() : StartWithoutRing();
}

void CDebug::RecordProcess(const char* applName) {
    if (applName != nullptr && *applName != '\0') {
        m_ApplName = CopyOfText(applName);
        m_LastHeader.Forget();
    }
    m_Pid = getpid();
    const time_t now = std::time(nullptr);
    tm local{};
    static_assert(sizeof m_StartTime >= 26);  // what asctime_r may write
    if (localtime_r(&now, &local) == nullptr || asctime_r(&local, m_StartTime) == nullptr) {
        CopyText(m_StartTime, kNoStartTime);
    }
    m_Environment.Record();
    m_AgentConfiguration.Record();
}

// A file of the trace directory: "log.", the application's name in lower case, and the suffix.
void CDebug::SetTracePath(char (&path)[256], const char* suffix) const {
    std::string name = ApplName();
    StringToLower(name.data());
    CopyText(path, std::string(m_TraceDirectory) + "/log." + name + suffix);
}

// Leaves m_TracingActive alone: a level without a ring size still counts as switched on.
bool CDebug::StartWithoutRing() {
    m_Target = kTargetNone;
    m_TraceLevel = 0;
    m_TraceLevelSaved = 0;
    if (m_NoHeaderToStderr == 0) {
        WriteLogHeader(kTargetLogFile);
    }
    return true;
}

bool CDebug::StartWithRing() {
    ReadWeightOfApplication();
    m_RingBufferFactor = std::min(m_RingBufferFactor, trace::kLargestRingFactor);
    const long pageSize = sysconf(_SC_PAGESIZE);
    const std::uint64_t size = trace::RingSize(pageSize < 1 ? kDefaultPageSize : pageSize,
                                               m_RingBufferFactor, m_RingBufferWeight);
    if (size == 0) {
        return StartWithoutRing();
    }
    SetTracePath(m_RingBufferPathActive, "_a");
    SetTracePath(m_RingBufferPathInit, "_i");
    const bool isRingReady = InitRingBuffer(m_RingBufferPathInit, size * trace::kInitRingFactor);
    if (m_NoHeaderToStderr == 0) {
        WriteLogHeader(kTargetLogFile);
    }
    if (!isRingReady) {
        SwitchTracingOff();
    }
    return isRingReady;
}

void CDebug::SwitchTracingOff() {
    m_Target = kTargetNone;
    m_TraceLevel = 0;
    m_TraceLevelSaved = 0;
    m_TracingActive = false;
}

void CDebug::SetMainParams(int argc, char** argv) {
    const CCriticalSectionGuard guard(m_Lock);
    m_Argc = argc;
    m_Argv = argv;
    if (argc <= 0) {
        return;
    }
    const bool hasRing = m_Target == kTargetRingBuffer;
    PrintIt(kTargetLogFile, "\n%s Command Line Options:", ApplName());
    if (hasRing) {
        PrintIt(kTargetRingBuffer, "\n%s Command Line Options:", ApplName());
    }
    for (int i = 0; i < argc; ++i) {
        PrintIt(kTargetLogFile, "\nargv[%d] = \"%s\"", i, argv[i]);
        if (hasRing) {
            PrintIt(kTargetRingBuffer, "\nargv[%d] = \"%s\"", i, argv[i]);
        }
    }
}

void CDebug::SetApplInitDone() {
    const CCriticalSectionGuard guard(m_Lock);
    try {
        EndInitialization();
    } catch (const std::bad_alloc&) {
        SwitchTracingOff();
    }
}

void CDebug::EndInitialization() {
    if (m_LogFile != nullptr) {
        m_LogFileInitEndOffset = lseek(fileno(m_LogFile.get()), 0, SEEK_CUR);
        m_LogFileCntInitEnd = static_cast<std::uint32_t>(m_LogFileInitEndOffset);
    }
    if (m_Target != kTargetRingBuffer) {
        return;
    }
    PrintIt(kTargetRingBuffer, "\n### End of initialization. ###");
    CloseRingBuffer();
    CompressInitRing();
    if (InitRingBuffer(m_RingBufferPathActive, m_RingBufferSize / trace::kInitRingFactor)) {
        m_TracingActive = true;
    } else {
        SwitchTracingOff();
    }
    m_ApplInitDone = true;
}

void CDebug::CompressInitRing() {
    const std::string command =
        "gzip -f " + trace::ShellWord(m_RingBufferPathInit) + " 2>/dev/null";
    // NOLINTNEXTLINE(cert-env33-c): the one command that runs through a shell; its word is quoted
    const CPipePtr pipe(popen(command.c_str(), "re"));
    if (pipe == nullptr) {
        PrintToLogFile("\n### gziping of startup log file failed -> it doesn't matter ###");
    }
}

// Whoever still prints afterwards, from the destructor of a static object in a library, finds
// nothing to do: no level, no target, no file and no configuration to look at.
CDebug::~CDebug() {
    const CCancellationHold hold;
    const CCriticalSectionGuard guard(m_Lock);
    m_DynamicUpdate = 0;
    m_Argc = 0;
    m_Argv = nullptr;
    m_Target = kTargetNone;
    m_TraceLevel = 0;
    CloseRingBuffer();
    m_LogFile.reset();
}

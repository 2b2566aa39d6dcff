// The trace object `Debug`: levels, targets, log file and ring buffer of the process.
//
// Everything that the system reports goes through the one global instance. The hot path is short:
// a level test without the lock, then, under the lock, an entry composed in the shared mapping; the
// essay on it stands in debug_ring_buffer.cpp. No operation throws or reports a failure to its
// caller; a cancelled thread unwinds through every operation and leaves the lock free.
//
// Files of the class: debug_print (operations and dispatch), debug_entry (composing),
// debug_log_file, debug_ring_buffer, debug_log_header, debug_config (settings and their update),
// debug_lifecycle (start, end of initialisation, end), debug_instance (the global object).
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>

#include "base/critical_section.h"
#include "base/file_mapping.h"
#include "base/file_ptr.h"
#include "base/unique_fd.h"
#include "morla/trace_interface.h"
#include "trace/entry_format.h"
#include "trace/trace_config_file.h"
#include "trace/variable_table.h"

#define MORLA_CDEBUG_DEFINED  // this is the full class behind the SDK's view of it

// Where entries go.
enum TraceTarget : std::uint32_t { kTargetNone = 0, kTargetLogFile = 1, kTargetRingBuffer = 2 };

class MORLA_EXPORT CDebug : public CDebugTraceConfig {
public:
    CDebug();
    // Also starts tracing under `applName`, unless that is null or empty.
    explicit CDebug(const char* applName);
    CDebug(const CDebug&) = delete;
    CDebug& operator=(const CDebug&) = delete;
    ~CDebug() override;

    // --- Printing. Thread-safe. `fmt` is a printf format; a null one is ignored. ---

    bool IsMaster() override;
    // Starts tracing: settings, log file and, with a level and a ring size, the start-up ring.
    // Returns false when the ring was wanted and could not be made.
    bool Init(const char* applName) override;
    void Print(unsigned int level, const char* fmt, ...) override MORLA_PRINTF(3, 4);
    void PrintAlways(const char* fmt, ...) override MORLA_PRINTF(2, 3);
    void PrintAlways(unsigned int level, const char* fmt, ...) override MORLA_PRINTF(3, 4);
    void PrintAlwaysV(const char* fmt, va_list args, const char* source) override
        MORLA_PRINTF(2, 0);
    void ClientPrintV(const char* fmt, va_list args, const char* source) override
        MORLA_PRINTF(2, 0);
    void PrintV(unsigned int level, const char* fmt, va_list args) MORLA_PRINTF(3, 0);

    // No lock and no level test: only for code that holds the lock, or at start-up.
    // `target` 0 means the active one.
    void PrintIt(unsigned int target, const char* fmt, ...) MORLA_PRINTF(3, 4);
    void PrintToLogFile(const char* fmt, ...) MORLA_PRINTF(2, 3);

    // True when an entry of that level would be written now. No lock, no system call. This and the
    // next are inlined here and exported too: libraries call them as functions.
    [[gnu::used]] MORLA_EXPORT bool IsLevelActive(unsigned int level) const {
        return level <= m_TraceLevel.load(std::memory_order_relaxed);
    }
    [[gnu::used]] MORLA_EXPORT bool IsTracingActive() const {
        return m_TracingActive.load(std::memory_order_relaxed);
    }

    // --- Life cycle and settings ---

    // Switches the level between the configured one and 0. Always true.
    bool ForceMaxDebug(bool on);
    // Takes no lock.
    void SetTarget(unsigned int target);
    // Records the command line (the vector is not copied and must live on) and traces it.
    void SetMainParams(int argc, char** argv);
    // End of start-up: closes and compresses the start-up ring and opens the active one.
    void SetApplInitDone();
    // Reads configuration files and environment. Always true.
    bool ReadDebugConfig(const char* applName);
    // Writes the settings of the process, line by line, to the log file (1) or the ring (2).
    void WriteLogHeader(unsigned int target);

    // --- Helpers ---

    // Appends "_" and `appl` in upper case to the text in `name` (`size` characters with the
    // terminator), as far as it fits. A null or empty `appl` changes nothing.
    static void BuildAppVarName(char* name, std::size_t size, const char* appl);
    // Lower-cases in place and returns its argument, which may be null.
    static char* StringToLower(char* s);

private:
    void ClassInit();

    // debug_entry
    struct Entry {
        std::size_t HeaderLength;   // bytes
        std::size_t MessageLength;  // bytes of the whole message, though the buffer may cut it
    };
    Entry Compose(const char* fmt, va_list args, const char* source) MORLA_PRINTF(2, 0);
    static std::size_t CloseEntry(char* text, std::size_t length);
    std::size_t SetEntryHeader(char* buffer, std::size_t size, const char* source);
    std::string_view EntryHeader(const char* source);
    std::size_t ReadResidentKilobytes();

    // debug_log_file
    void OpenLogFile();
    void TraceToLogFile(const char* fmt, va_list args, const char* source) MORLA_PRINTF(2, 0);
    std::uint32_t WriteToLogFile(const char* text, std::size_t length);
    void WrapLogFile();

    // debug_ring_buffer
    bool InitRingBuffer(const char* path, std::size_t size);
    bool PrefillRingBuffer(std::size_t size);
    void CloseRingBuffer();
    void TraceToRingBuffer(const char* fmt, va_list args, const char* source) MORLA_PRINTF(2, 0);
    std::size_t ComposeInRing(const char* fmt, va_list args, const char* source) MORLA_PRINTF(2, 0);
    void ComposeAside(const char* fmt, va_list args, const char* source) MORLA_PRINTF(2, 0);
    void ComposeLong(std::size_t messageLength, const char* fmt, va_list args, const char* source)
        MORLA_PRINTF(3, 0);
    void AddToRingBuffer(char* entry, std::size_t length);
    void WrapRingBuffer();
    void CopyToRingBuffer(const char* entry, std::size_t length);

    // debug_log_header
    void WriteVariables(unsigned int target, const trace::CVariableTable& table);
    void WriteFileSettings(unsigned int target);
    void WriteInternalValues(unsigned int target);

    // debug_config
    void UpdateConfig();
    void ReadConfigFiles(const char* applName, struct dirent** files, int count);
    void ReadApplicationSection();
    void ApplySettings();
    void ReadWeightOfApplication();

    // debug_lifecycle
    const char* ApplName() const { return m_ApplName != nullptr ? m_ApplName.get() : ""; }
    void SetTracePath(char (&path)[256], const char* suffix) const;
    bool Start(const char* applName);
    void RecordProcess(const char* applName);
    bool StartWithoutRing();
    bool StartWithRing();
    void SwitchTracingOff();
    void EndInitialization();
    void CompressInitRing();

    // debug_print
    bool IsUpdateDue() const;
    template <typename Writer>
    void Guarded(Writer writer);
    void PrintUnderLock(unsigned int level, const char* fmt, va_list args, bool isUpdateDue)
        MORLA_PRINTF(3, 0);
    void TraceToTarget(unsigned int target, const char* fmt, va_list args, const char* source)
        MORLA_PRINTF(3, 0);

    // Fields that are read without the lock are atomic; everything else belongs to m_Lock. All are
    // zero or empty but for what ClassInit sets.
    std::atomic<std::uint32_t> m_TraceLevel{};
    std::uint32_t m_TraceLevelSaved{};
    std::uint32_t m_IniDebugLevel{};
    std::uint32_t m_TraceFlags{};  // kept and shown to nobody; nothing depends on it
    std::uint32_t m_Reserved{};
    std::atomic<bool> m_TracingActive{};
    std::unique_ptr<char[]> m_ApplName;
    CDebugTraceConfigFile m_GlobalConfig;
    CDebugTraceConfigFile m_ApplConfig;
    std::atomic<std::uint32_t> m_DynamicUpdate{};    // seconds; 0 = never
    std::atomic<std::int64_t> m_LastDynamicCheck{};  // seconds since the epoch
    CCriticalSection m_Lock;
    std::int32_t m_Pid{};
    std::int32_t m_Argc{};
    char** m_Argv{};  // the caller's
    char m_StartTime[32]{};
    std::uint32_t m_Target{};
    bool m_ApplInitDone{};
    CUniqueFd m_RingBufferFd;
    std::uint32_t m_RingBufferFactor{};
    std::uint32_t m_RingBufferWeight{};
    std::uint64_t m_RingBufferSize{};        // bytes
    std::uint64_t m_RingBufferPos{};         // offset of the next entry
    std::uint64_t m_RingBufferRestartPos{};  // offset where writing resumes after a wrap
    CFileMapping m_RingBufferMap;
    std::uint32_t m_RingBufferCycle{};
    char m_RingBufferPathActive[256]{};
    char m_RingBufferPathInit[256]{};
    char m_InternalDebugBuffer[trace::kEntryBufferSize]{};
    std::uint32_t m_NoHeaderToStderr{};
    std::uint32_t m_IniRingBufferSizeFactor{};
    std::uint32_t m_IniRingBufferSizeWeight{};
    char m_IniRingBufferDirectory[256]{};
    std::uint32_t m_IniNoHeaderToStderr{};
    std::uint32_t m_IniDynamicUpdate{};
    std::uint32_t m_MemoryTracesFlag{};  // non-zero: the memory column
    char m_TraceDirectory[256]{};
    std::uint64_t m_TrailerLength{};
    char m_Trailer[64]{};
    char m_LogFilePath[256]{};
    CFilePtr m_LogFile;
    std::int64_t m_LogFileInitEndOffset{};
    std::uint32_t m_LogFileMaxSize{};
    std::uint32_t m_LogFileCntInitEnd{};
    std::uint32_t m_LogFileByteCnt{};
    std::uint32_t m_LogFileCycle{};

    trace::CVariableTable m_Environment{trace::EnvironmentNames()};
    trace::CVariableTable m_AgentConfiguration{trace::AgentConfigurationNames()};
    trace::CEntryClock m_Clock;  // the time text of the current second
    trace::CLastHeader m_LastHeader;
    std::int64_t m_LogFilePos{};     // offset of the next log entry
    CUniqueFd m_StatusFile;          // the process's status file, for the memory column
    std::int32_t m_StatusFilePid{};  // whose status file that is
    std::size_t m_StatusLine{};      // where the line with the resident size stood in it
    bool m_IsWrappingRing{};         // a header that does not fit must not wrap again
};

// The trace object of the process: constructed before every other object, destroyed after them.
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): one for the process
extern MORLA_EXPORT CDebug Debug;

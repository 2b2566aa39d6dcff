// The trace object as a library sees it: `Debug`, which the program that loads the library owns.
//
// Part of the SDK; C++11. Nothing has to be linked: the daemon exports `Debug` and the operations
// below, and the dynamic linker binds a library to them when it is loaded.
//
//     #include "morla/debug.h"
//
//     Debug.Print(1, "FANS                : %u of %u turn", turning, present);
//
// Levels: 0 always, 1 errors, warnings and notable events, rising to 6 for the finest detail.
// An entry is one line: a header (time, thread, name) and the text. Newlines at the start of the
// format are skipped, one is added at the end where it is missing. Texts of more than 1,024
// characters are kept whole in the ring up to a tenth of its size, and cut in the log file.
#ifndef MORLA_DEBUG_H
#define MORLA_DEBUG_H

#include "morla/trace_interface.h"

#ifndef MORLA_CDEBUG_DEFINED  // a source of the host services already has the full class
#    define MORLA_CDEBUG_DEFINED

// Thread-safe throughout; see CDebugTraceConfig for what each operation does.
class MORLA_EXPORT CDebug : public CDebugTraceConfig {
public:
    CDebug() = delete;
    CDebug(const CDebug&) = delete;
    CDebug& operator=(const CDebug&) = delete;
    ~CDebug() override;

    bool IsMaster() override;
    bool Init(const char* applName) override;
    void Print(unsigned int level, const char* fmt, ...) override MORLA_PRINTF(3, 4);
    void PrintAlways(const char* fmt, ...) override MORLA_PRINTF(2, 3);
    void PrintAlways(unsigned int level, const char* fmt, ...) override MORLA_PRINTF(3, 4);
    void PrintAlwaysV(const char* fmt, va_list args, const char* source) override
        MORLA_PRINTF(2, 0);
    void ClientPrintV(const char* fmt, va_list args, const char* source) override
        MORLA_PRINTF(2, 0);

    // Print with its values in a list.
    void PrintV(unsigned int level, const char* fmt, va_list args) MORLA_PRINTF(3, 0);

    // Whether an entry of that level would be written now. For callers that would have to compute
    // something only for the trace. Costs no lock and no system call.
    bool IsLevelActive(unsigned int level) const;

    // Whether tracing is switched on at all.
    bool IsTracingActive() const;
};

// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): one for the process
extern MORLA_EXPORT CDebug Debug;

#endif
#endif

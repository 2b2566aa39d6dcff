// A connection to the system log, for messages that must reach the administrator's log.
//
// Offered to the users of the host services; the daemon and the trace object do not use it.
#pragma once

#include <syslog.h>

#include <cstdarg>

#include "base/export.h"
#include "morla/trace_interface.h"

// The values are the system-log priorities themselves.
enum SysLogLevel : int {
    kSysLogEmergency = LOG_EMERG,
    kSysLogAlert = LOG_ALERT,
    kSysLogCritical = LOG_CRIT,
    kSysLogError = LOG_ERR,
    kSysLogWarning = LOG_WARNING,
    kSysLogNotice = LOG_NOTICE,
    kSysLogInfo = LOG_INFO,
    kSysLogDebug = LOG_DEBUG,
};

// No data: the connection belongs to the C library. Every operation may be called from any thread,
// through the one instance that getConnection gives. The operations are `const volatile`, so that
// a shared instance needs no cast. getConnection and logMessage throw nothing: an exception inside
// them ends the process. A thread cancellation takes effect after them.
class MORLA_API SysLogTraces {
public:
    // Opens the connection at once: identity is the program's short name, facility LOCAL1.
    SysLogTraces();
    SysLogTraces(const SysLogTraces&) = delete;
    SysLogTraces& operator=(const SysLogTraces&) = delete;
    // Closes the connection.
    ~SysLogTraces();

    // The shared instance, made by the first call and never destroyed.
    static SysLogTraces* getConnection() noexcept;

    // Logs the message at that priority; a null one is ignored. The message is taken as a format
    // without values: a "%" in it is written "%%".
    void logMessage(const char* message, SysLogLevel level) const volatile noexcept;

    // Formats (leading newlines of the format are skipped, the text is cut to 1,023 characters) and
    // logs the text with LOG_INFO, as a format once more: values hold no "%".
    void logMessageVaList(const char* format, va_list args) const volatile MORLA_PRINTF(2, 0);

    [[nodiscard]] const char* getProcName() const;
};

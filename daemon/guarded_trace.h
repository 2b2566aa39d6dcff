// Trace calls that are made only while tracing is switched on.
#pragma once

#include <cstdarg>

#include "trace/debug.h"

// Debug.Print behind a test of Debug.IsTracingActive(): silent while tracing is off, also for
// level 0. Thread-safe.
inline void TraceIfActive(unsigned int level, const char* fmt, ...)
    __attribute__((format(printf, 2, 3)));

inline void TraceIfActive(unsigned int level, const char* fmt, ...) {
    if (!Debug.IsTracingActive()) {
        return;
    }
    va_list args;
    va_start(args, fmt);
    Debug.PrintV(level, fmt, args);
    va_end(args);
}

// The abstract interface of the trace object: its virtual slots, in order.
//
// Part of the SDK; C++11. Libraries normally include "morla/debug.h" and call `Debug`.
#ifndef MORLA_TRACE_INTERFACE_H
#define MORLA_TRACE_INTERFACE_H

#include <cstdarg>

// Seen across library boundaries.
#define MORLA_EXPORT __attribute__((visibility("default")))
// A printf-style operation: the number of its format argument and of the first value, both counted
// from 1 with the hidden `this` first; 0 for a va_list.
#define MORLA_PRINTF(format_index, first_index) \
    __attribute__((format(printf, format_index, first_index)))

// No data. Slots (Itanium C++ ABI, as g++ and clang lay them out): 0 and 1 the complete and the
// deleting destructor, then one each from 2 to 8 in the order below. Every operation may be called
// from any thread at any time; none throws, and none but Init reports a failure.
class CDebugTraceConfig {
public:
    virtual ~CDebugTraceConfig() = default;

    // Whether this object writes by itself (always true).
    virtual bool IsMaster() = 0;

    // Starts tracing under an application name. For the program that owns the object, never for a
    // library.
    virtual bool Init(const char* applName) = 0;

    // Writes one entry when `level` is not above the current trace level. A null `fmt` is ignored.
    virtual void Print(unsigned int level, const char* fmt, ...) MORLA_PRINTF(3, 4) = 0;

    // Writes one entry whatever the level, to the ring (if there is one) and to the log file.
    virtual void PrintAlways(const char* fmt, ...) MORLA_PRINTF(2, 3) = 0;
    // The same; `level` is ignored.
    virtual void PrintAlways(unsigned int level, const char* fmt, ...) MORLA_PRINTF(3, 4) = 0;
    // The same; `source` stands in the entry's header in place of the application's name.
    virtual void PrintAlwaysV(const char* fmt, va_list args, const char* source)
        MORLA_PRINTF(2, 0) = 0;

    // Writes one entry to the active target (ring or log file) without a level test, for callers
    // that make their own level decision and name themselves in the header.
    virtual void ClientPrintV(const char* fmt, va_list args, const char* source)
        MORLA_PRINTF(2, 0) = 0;
};

#endif

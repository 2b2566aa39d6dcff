// Print operations: level test, lock, dispatch to the active target.
#include <cxxabi.h>

#include "trace/debug.h"

// Runs `writer` under the lock. Nothing it raises reaches the caller, except the unwinding of a
// cancelled thread, which must go on; the guard frees the lock on that way too.
template <typename Writer>
void CDebug::Guarded(Writer writer) {
    try {
        const CCriticalSectionGuard guard(m_Lock);
        writer();
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        // The entry is dropped: tracing never fails outward.
        return;
    }
}

bool CDebug::IsMaster() {
    return true;
}

void CDebug::Print(unsigned int level, const char* fmt, ...) {
    if (fmt == nullptr) {
        return;
    }
    // The test that PrintV makes, without preparing the values of an entry that will be dropped.
    if (!IsLevelActive(level) && !IsUpdateDue()) {
        return;
    }
    va_list args;
    va_start(args, fmt);
    PrintV(level, fmt, args);
    va_end(args);
}

void CDebug::PrintV(unsigned int level, const char* fmt, va_list args) {
    const bool isUpdateDue = IsUpdateDue();
    if (!isUpdateDue && !IsLevelActive(level)) {
        return;
    }
    Guarded([&] {
        if (isUpdateDue) {
            UpdateConfig();
        }
        if (IsLevelActive(level)) {
            TraceToTarget(m_Target, fmt, args, nullptr);
        }
    });
}

void CDebug::PrintAlways(const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    PrintAlwaysV(fmt, args, nullptr);
    va_end(args);
}

void CDebug::PrintAlways(unsigned int /*level*/, const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    PrintAlwaysV(fmt, args, nullptr);
    va_end(args);
}

void CDebug::PrintAlwaysV(const char* fmt, va_list args, const char* source) {
    Guarded([&] {
        if (m_Target == kTargetRingBuffer) {
            va_list ringArgs;
            va_copy(ringArgs, args);
            TraceToRingBuffer(fmt, ringArgs, source);
            va_end(ringArgs);
        }
        TraceToLogFile(fmt, args, source);
    });
}

void CDebug::ClientPrintV(const char* fmt, va_list args, const char* source) {
    Guarded([&] { TraceToTarget(m_Target, fmt, args, source); });
}

void CDebug::PrintIt(unsigned int target, const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    TraceToTarget(target == kTargetNone ? m_Target : target, fmt, args, nullptr);
    va_end(args);
}

void CDebug::PrintToLogFile(const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    TraceToLogFile(fmt, args, nullptr);
    va_end(args);
}

void CDebug::TraceToTarget(unsigned int target, const char* fmt, va_list args, const char* source) {
    if (target == kTargetRingBuffer) {
        TraceToRingBuffer(fmt, args, source);
    } else if (target == kTargetLogFile) {
        TraceToLogFile(fmt, args, source);
    }
}

bool CDebug::ForceMaxDebug(bool on) {
    const CCriticalSectionGuard guard(m_Lock);
    m_TraceLevel.store(on ? m_TraceLevelSaved : 0, std::memory_order_relaxed);
    m_TracingActive.store(on, std::memory_order_relaxed);
    return true;
}

void CDebug::SetTarget(unsigned int target) {
    m_Target = target;
}

// Print operations: level test, lock, dispatch to the active target.
#include <cxxabi.h>

#include "trace/debug.h"

namespace {

// Outside [last check, last check + period): a clock that was set back makes a check due as well.
// The period is in seconds; 0 is never.
inline bool IsDue(std::uint32_t period, const std::atomic<std::int64_t>& lastCheck) {
    if (period == 0) {
        return false;
    }
    const std::int64_t last = lastCheck.load(std::memory_order_relaxed);
    const std::int64_t now = std::time(nullptr);
    return now < last || now >= last + period;
}

}  // namespace

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

// A variadic function saves its arguments before its first statement runs, so this one does nothing
// else before the level test; it has no buffer that the stack protector could watch, and begins
// with a line of the instruction cache, or its cost would change with the code around it.
__attribute__((no_stack_protector, aligned(64))) void CDebug::Print(unsigned int level,
                                                                    const char* fmt, ...) {
    if (!IsLevelActive(level)) [[likely]] {
        if (m_DynamicUpdate.load(std::memory_order_relaxed) == 0) [[likely]] {
            return;
        }
    }
    if (fmt == nullptr) {
        return;
    }
    va_list args;
    va_start(args, fmt);
    PrintV(level, fmt, args);
    va_end(args);
}

// Not inlined: Print would save registers for it before its own test.
__attribute__((noinline)) void CDebug::PrintV(unsigned int level, const char* fmt, va_list args) {
    const bool isUpdateDue =
        IsDue(m_DynamicUpdate.load(std::memory_order_relaxed), m_LastDynamicCheck);
    if (isUpdateDue || IsLevelActive(level)) {
        PrintUnderLock(level, fmt, args, isUpdateDue);
    }
}

bool CDebug::IsUpdateDue() const {
    return IsDue(m_DynamicUpdate.load(std::memory_order_relaxed), m_LastDynamicCheck);
}

__attribute__((noinline)) void CDebug::PrintUnderLock(unsigned int level, const char* fmt,
                                                      va_list args, bool isUpdateDue) {
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

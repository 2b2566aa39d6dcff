// The state that handles of one event share. Internal to CEvent's sources.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <memory>

#include "os/event.h"

struct CEvent::Body {
    // Makes the system's objects; a failure is traced, and the body is made all the same.
    Body(bool initialState, bool manualReset, const char* name);
    // No thread may be inside Wait. Traces: the caller holds cancellation off.
    ~Body();
    Body(const Body&) = delete;
    Body& operator=(const Body&) = delete;

    // How traces name the event.
    [[nodiscard]] const void* TraceId() const { return this; }
    [[nodiscard]] const char* TraceName() const { return Name != nullptr ? Name.get() : "anon"; }
    [[nodiscard]] int Signaled() const { return IsSignaled ? 1 : 0; }
    [[nodiscard]] int Manual() const { return IsManual ? 1 : 0; }

    // A wait that ends well takes the signal of an automatic event. Under the mutex.
    void TakeSignal() {
        if (!IsManual) {
            IsSignaled = false;
        }
    }

    // Whether a thread is inside Wait. Takes the mutex.
    [[nodiscard]] bool HasWaiters();

    pthread_cond_t Condition{};  // on the monotonic clock
    pthread_mutex_t Mutex{};
    std::uint32_t References = 1;  // handles; guarded by the events lock
    // Changed under the mutex; atomic because traces, IsSet and a second creator read them without.
    std::atomic<bool> IsManual;
    std::atomic<bool> IsSignaled;
    std::unique_ptr<char[]> Name;  // null for an anonymous event
    std::uint32_t Waiters = 0;     // threads inside Wait; guarded by the mutex
    pthread_condattr_t Attribute{};
};

// Holds a body's mutex for a scope, also when a thread cancellation passes through it.
class CEvent::CBodyLock {
public:
    explicit CBodyLock(Body& body)
        : m_Body(body), m_IsLocked(pthread_mutex_lock(&body.Mutex) == 0) {}
    ~CBodyLock() {
        if (m_IsLocked) {
            pthread_mutex_unlock(&m_Body.Mutex);
        }
    }
    CBodyLock(const CBodyLock&) = delete;
    CBodyLock& operator=(const CBodyLock&) = delete;
    [[nodiscard]] bool IsLocked() const { return m_IsLocked; }

private:
    Body& m_Body;
    const bool m_IsLocked;
};

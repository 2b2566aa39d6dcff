// Signals of events: setting, waiting, closing.
#include <sched.h>

#include <cerrno>
#include <cstdint>
#include <ctime>

#include "os/event.h"
#include "os/event_body.h"
#include "trace/debug.h"

namespace {

constexpr unsigned int kTraceDetail = 5;
constexpr std::uint32_t kMillisecondsPerSecond = 1000;
constexpr long kNanosecondsPerMillisecond = 1'000'000;
constexpr long kNanosecondsPerSecond = 1'000'000'000;

timespec DeadlineIn(unsigned int timeoutMs) {
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += timeoutMs / kMillisecondsPerSecond;
    deadline.tv_nsec += (timeoutMs % kMillisecondsPerSecond) * kNanosecondsPerMillisecond;
    if (deadline.tv_nsec >= kNanosecondsPerSecond) {
        deadline.tv_nsec -= kNanosecondsPerSecond;
        ++deadline.tv_sec;
    }
    return deadline;
}

}  // namespace

// Counts the calling thread among the waiters for a scope, also when a thread cancellation passes
// through it: the system locks the mutex again before it unwinds a cancelled wait.
class CEvent::CWaiterCount {
public:
    explicit CWaiterCount(Body& body) : m_Body(body) { ++m_Body.Waiters; }
    ~CWaiterCount() { --m_Body.Waiters; }
    CWaiterCount(const CWaiterCount&) = delete;
    CWaiterCount& operator=(const CWaiterCount&) = delete;

private:
    Body& m_Body;
};

// Wakes whom a signal releases: all waiters of a manual event, one of an automatic event.
bool CEvent::Wake(Body& body) {
    return (body.IsManual ? pthread_cond_broadcast(&body.Condition)
                          : pthread_cond_signal(&body.Condition)) == 0;
}

bool CEvent::Set() {
    Body* body = OpenBody();
    if (body == nullptr) {
        return false;
    }
    bool isWoken = false;
    {
        const CBodyLock lock(*body);
        Debug.Print(kTraceDetail, "Set event %p <%s> IsSignaled=%d --> IsSignaled=1\n",
                    body->TraceId(), body->TraceName(), body->Signaled());
        body->IsSignaled = true;
        isWoken = Wake(*body);
    }
    sched_yield();
    return isWoken;
}

bool CEvent::Pulse() {
    Body* body = OpenBody();
    if (body == nullptr) {
        return false;
    }
    bool isWoken = false;
    {
        const CBodyLock lock(*body);
        Debug.Print(kTraceDetail, "Pulse event %p <%s> IsSignaled=%d --> IsSignaled=0\n",
                    body->TraceId(), body->TraceName(), body->Signaled());
        body->IsSignaled = false;
        isWoken = Wake(*body);
    }
    sched_yield();
    return isWoken;
}

bool CEvent::Reset() {
    Body* body = OpenBody();
    if (body == nullptr) {
        return false;
    }
    const CBodyLock lock(*body);
    Debug.Print(kTraceDetail, "Reset event %p <%s>: IsSignaled=%d --> IsSignaled=0\n",
                body->TraceId(), body->TraceName(), body->Signaled());
    body->IsSignaled = false;
    return true;
}

bool CEvent::IsSet() {
    const Body* body = OpenBody();
    if (body == nullptr) {
        return false;
    }
    const bool isSignaled = body->IsSignaled;
    Debug.Print(kTraceDetail, "Check event %p <%s> (IsSignaled=%d)\n", body->TraceId(),
                body->TraceName(), static_cast<int>(isSignaled));
    return isSignaled;
}

bool CEvent::Close() {
    Body* body = OpenBody();
    if (body == nullptr) {
        return false;
    }
    Debug.Print(kTraceDetail, "Close event %p <%s> IsSignaled=%d --> IsSignaled=1\n",
                body->TraceId(), body->TraceName(), body->Signaled());
    m_IsClosed = true;
    {
        const CBodyLock lock(*body);
        body->IsSignaled = true;
    }
    // Every waiter, also of an automatic event: nobody may go on waiting for a closed handle.
    return pthread_cond_broadcast(&body->Condition) == 0;
}

int CEvent::Wait(unsigned int timeoutMs, bool /*alertable*/) {
    Body* body = OpenBody();
    if (body == nullptr) {
        return kWaitError;
    }
    const CBodyLock lock(*body);
    if (body->IsSignaled) {
        body->TakeSignal();
        return kWaitSignaled;
    }
    return lock.IsLocked() ? WaitForWakeUp(*body, timeoutMs) : kWaitError;
}

// Sleeps until a wake-up or the time-out. Under the body's mutex. Once the mutex is free again the
// handle and the body may be gone.
int CEvent::WaitForWakeUp(Body& body, unsigned int timeoutMs) {
    const CWaiterCount counted(body);
    const bool hasDeadline = timeoutMs < kWaitInfinite;
    const timespec deadline = hasDeadline ? DeadlineIn(timeoutMs) : timespec{};
    int error = 0;
    do {
        error = hasDeadline ? pthread_cond_timedwait(&body.Condition, &body.Mutex, &deadline)
                            : pthread_cond_wait(&body.Condition, &body.Mutex);
    } while (error == EINTR);
    // Deliberate: a wake-up counts as success without a look at the state; Pulse depends on it.
    if (error == 0 || body.IsSignaled) {
        body.TakeSignal();
        return kWaitSignaled;
    }
    return error == ETIMEDOUT ? kWaitTimeout : kWaitError;
}

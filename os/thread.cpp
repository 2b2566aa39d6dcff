#include "os/thread.h"

#include <sched.h>

#include <cstdint>

#include "base/critical_section.h"
#include "os/wait_result.h"
#include "trace/debug.h"

// Whether a thread still runs. The thread sets it as its last act, under the lock, so that its id
// is valid for whoever holds the lock and finds HasEnded false.
struct CThread::LifeMark {
    CCriticalSection Lock;
    bool HasEnded = false;
};

struct CThread::StartRecord {
    void* (*Function)(void*);
    void* Argument;
    std::shared_ptr<LifeMark> Mark;
};

namespace {

constexpr unsigned int kTraceStep = 1;
constexpr unsigned int kTraceFailure = 2;
constexpr unsigned int kTraceDetail = 5;

// How traces show a thread, as in the header of an entry.
unsigned int LowBits(pthread_t thread) {
    return static_cast<std::uint32_t>(thread);
}

class CThreadAttributes {
public:
    CThreadAttributes() = default;
    ~CThreadAttributes() {
        if (m_IsMade) {
            pthread_attr_destroy(&m_Attributes);
        }
    }
    CThreadAttributes(const CThreadAttributes&) = delete;
    CThreadAttributes& operator=(const CThreadAttributes&) = delete;

    // Traces its failures, like the two below.
    bool Make();
    bool SetDetached();
    bool SetRoundRobin(int priority);
    [[nodiscard]] const pthread_attr_t* Get() const { return &m_Attributes; }

private:
    pthread_attr_t m_Attributes{};
    bool m_IsMade = false;
};

bool CThreadAttributes::Make() {
    const int error = pthread_attr_init(&m_Attributes);
    if (error != 0) {
        Debug.Print(kTraceFailure, "\npthread_attr_init failed: %d", error);
        return false;
    }
    m_IsMade = true;
    Debug.Print(4, "\npthread_attr_init: %d", error);
    return true;
}

bool CThreadAttributes::SetDetached() {
    const int error = pthread_attr_setdetachstate(&m_Attributes, PTHREAD_CREATE_DETACHED);
    if (error != 0) {
        Debug.Print(kTraceFailure, "\npthread_attr_setdetachstate failed: %d", error);
    }
    return error == 0;
}

// Deliberate: the attributes keep their default of inheriting the creator's scheduling, so that a
// thread with a priority starts without the right to real-time scheduling, too.
bool CThreadAttributes::SetRoundRobin(int priority) {
    int error = pthread_attr_setschedpolicy(&m_Attributes, SCHED_RR);
    if (error != 0) {
        Debug.Print(kTraceFailure, "\npthread_attr_setschedpolicy failed: %d", error);
        return false;
    }
    sched_param parameter{};
    error = pthread_attr_getschedparam(&m_Attributes, &parameter);
    if (error != 0) {
        Debug.Print(kTraceFailure, "\npthread_attr_getschedparam failed: %d", error);
        return false;
    }
    parameter.sched_priority = priority;
    error = pthread_attr_setschedparam(&m_Attributes, &parameter);
    if (error != 0) {
        Debug.Print(kTraceFailure, "\npthread_attr_setschedparam failed: error=%d priority=%d",
                    error, priority);
        return false;
    }
    return true;
}

}  // namespace

bool CThread::Start(void* (*function)(void*), void* argument, unsigned long priority, bool suspend,
                    unsigned int stackSize, unsigned long, bool waitable) {
    const int shownPriority = static_cast<int>(priority);
    Debug.Print(kTraceDetail,
                "\nCThread::Start: Start a thread, Prio=%d, Suspend=%d, StackSize=0x%08x, "
                "Waitable=%d, KillAliveThread=%d",
                shownPriority, static_cast<int>(suspend), stackSize, static_cast<int>(waitable),
                static_cast<int>(m_KillAliveThread));
    if (m_KillAliveThread) {
        Kill(kWaitInfinite);
    }
    CThreadAttributes attributes;
    if (!attributes.Make() || (!waitable && !attributes.SetDetached())) {
        return false;
    }
    Debug.Print(kTraceDetail, "\nThreadPrio=%d", shownPriority);
    if ((priority != 0 && !attributes.SetRoundRobin(shownPriority)) ||
        !Create(*attributes.Get(), function, argument, waitable)) {
        return false;
    }
    Debug.Print(kTraceDetail,
                "\nCThread::Start: thread=0x%08X created, Prio=%d, Waitable=%d, StackSize=0x%x",
                LowBits(m_Thread), shownPriority, static_cast<int>(waitable), stackSize);
    sched_yield();
    return true;
}

bool CThread::Create(const pthread_attr_t& attributes, void* (*function)(void*), void* argument,
                     bool waitable) {
    const auto mark = std::make_shared<LifeMark>();
    auto record = std::make_unique<StartRecord>(StartRecord{function, argument, mark});
    pthread_t thread = 0;
    const int error = pthread_create(&thread, &attributes, Run, record.get());
    if (error != 0) {
        Debug.Print(kTraceFailure, "\npthread_create failed: %d", error);
        return false;
    }
    (void)record.release();  // the new thread owns it
    m_Thread = thread;
    m_IsWaitable = waitable;
    m_LifeMark = mark;
    return true;
}

// The new thread. A cancellation unwinds through here as well.
void* CThread::Run(void* startRecord) {
    const std::unique_ptr<StartRecord> record(static_cast<StartRecord*>(startRecord));
    struct EndMarker {
        explicit EndMarker(LifeMark& mark) : Mark(mark) {}
        ~EndMarker() {
            const CCriticalSectionGuard guard(Mark.Lock);
            Mark.HasEnded = true;
        }
        EndMarker(const EndMarker&) = delete;
        EndMarker& operator=(const EndMarker&) = delete;
        LifeMark& Mark;
    };
    const EndMarker marker(*record->Mark);
    return record->Function(record->Argument);
}

bool CThread::WaitForTermination(unsigned int timeoutMs) {
    if (m_Thread == 0) {
        Debug.Print(kTraceStep, "\nCThread::WaitForTermination: Thread = 0x0%08X doesn't exist !",
                    0U);
        return true;
    }
    if (timeoutMs != kWaitInfinite) {
        Debug.Print(kTraceStep,
                    "\nCThread::WaitForTermination: WARNING: can't wait for Thread = 0x%08X "
                    "termination with timeout",
                    LowBits(m_Thread));
    }
    if (!m_IsWaitable) {
        Debug.Print(kTraceStep,
                    "\nCThread::WaitForTermination: WARNING: Can't wait for detached thread 0x%08X",
                    LowBits(m_Thread));
        return false;
    }
    void* result = nullptr;
    const int error = pthread_join(m_Thread, &result);
    if (error != 0) {
        Debug.Print(kTraceStep,
                    "\nCThread::WaitForTermination: ERROR ! ThreadJoin failed, Thread = 0x%08X, "
                    "Err = 0x%08x",
                    LowBits(m_Thread), static_cast<unsigned int>(error));
        return false;
    }
    const pthread_t ended = Forget();
    Debug.Print(
        kTraceStep,
        "\nCThread::WaitForTermination: a joinable Thread = 0x%08X has terminated, pstat=%p",
        LowBits(ended), result);
    return true;
}

bool CThread::Kill(unsigned int /*timeoutMs*/) {
    Debug.Print(kTraceStep, "\nCThread::Kill: Try to kill the Thread = 0x%08X", LowBits(m_Thread));
    if (m_Thread == 0) {
        Debug.Print(kTraceStep, "\nCThread::Kill: Thread = 0x0%08X doesn't exist !", 0U);
        return false;
    }
    return m_IsWaitable ? JoinToKill() : CancelDetached();
}

bool CThread::JoinToKill() {
    Debug.Print(kTraceStep, "\nCThread::Kill: Try to join a joinable Thread = 0x%08X",
                LowBits(m_Thread));
    void* result = nullptr;
    const int error = pthread_join(m_Thread, &result);
    const pthread_t ended = Forget();
    if (error != 0) {
        Debug.Print(kTraceStep,
                    "\nCThread::Kill: ERROR ! ThreadJoin failed, Thread = 0x%08X, Err = 0x%08x",
                    LowBits(ended), static_cast<unsigned int>(error));
        return false;
    }
    Debug.Print(kTraceStep, "\nCThread::Kill: a joinable Thread = 0x%08X has terminated, pstat=%p",
                LowBits(ended), result);
    return true;
}

bool CThread::CancelDetached() {
    const std::shared_ptr<LifeMark> mark = m_LifeMark;
    const pthread_t thread = Forget();
    Debug.Print(kTraceStep, "\nCThread::Kill: Try to kill a non-joinable Thread = 0x0%08X",
                LowBits(thread));
    // The id of a detached thread that has ended must not be used, not even to ask whether it still
    // exists: its descriptor may be unmapped.
    const CCriticalSectionGuard guard(mark->Lock);
    if (mark->HasEnded) {
        return true;
    }
    Debug.Print(kTraceFailure, "\nCThread::Kill: Killing a non-joinable thread 0x%08X",
                LowBits(thread));
    const int error = pthread_cancel(thread);
    if (error != 0) {
        Debug.Print(kTraceFailure,
                    "\nCThread::Kill: unable to cancel a non-joinable thread 0x%08X (err = 0x%08x)",
                    LowBits(thread), static_cast<unsigned int>(error));
        return false;
    }
    Debug.Print(kTraceFailure, "\nCThread::Kill: a non-joinable thread 0x%08X cancel invoked",
                LowBits(thread));
    return true;
}

// The object has no thread from now on; returns the one that it had.
pthread_t CThread::Forget() {
    const pthread_t thread = m_Thread;
    m_Thread = 0;
    m_LifeMark.reset();
    return thread;
}

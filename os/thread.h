// A thread of the operating system: started, waited for, killed.
//
// Threads: a CThread is used by one thread at a time, its owner; the thread that it started never
// touches it and may outlive it. Destroying a CThread does nothing to its thread.
//
// Cancellation: WaitForTermination and Kill of a waitable thread are cancellation points; the
// thread then stays to be waited for. Kill cancels a detached thread, so what such a thread calls
// must let a cancellation unwind.
//
// No process-wide state: may be constructed by static initialisation.
#pragma once

#include <pthread.h>

#include <memory>

#include "base/export.h"

class MORLA_API CThread {
public:
    // `killAliveThread`: Start first ends the thread that was started before, with Kill.
    explicit CThread(bool killAliveThread = false) : m_KillAliveThread(killAliveThread) {}
    CThread(const CThread&) = delete;
    CThread& operator=(const CThread&) = delete;

    // Runs function(argument) in a new thread, which starts at once. A `waitable` thread has to be
    // waited for or killed, or its resources stay; any other is detached. False when the system
    // refuses; the thread started before is then still this object's. Without `killAliveThread` a
    // successful start forgets that thread.
    // Deliberate: a `priority` other than 0 is checked and put into the thread's attributes
    // together with round-robin scheduling, but the thread inherits its creator's scheduling, as
    // attributes have it by default; it runs without the right to real-time scheduling, too.
    // Deliberate: `suspend`, `stackSize` and the unnamed number have no effect.
    bool Start(void* (*function)(void*), void* argument, unsigned long priority, bool suspend,
               unsigned int stackSize, unsigned long, bool waitable);

    // Waits until a waitable thread has ended. True when it has, or when there is no thread. False
    // for a detached one.
    // Deliberate: a finite time-out is traced and then ignored.
    bool WaitForTermination(unsigned int timeoutMs);

    // Cancels a detached thread, without waiting for its end; one that has ended counts as killed.
    // Either way the object has no thread afterwards. False when there was none, or on failure.
    // Deliberate: a waitable thread is not cancelled but waited for without limit, whatever
    // `timeoutMs` says.
    bool Kill(unsigned int timeoutMs);

    // The thread that was started last and neither waited for nor killed; 0 when there is none.
    [[nodiscard]] pthread_t Id() const { return m_Thread; }

private:
    struct LifeMark;
    struct StartRecord;

    static void* Run(void* startRecord);
    bool Create(const pthread_attr_t& attributes, void* (*function)(void*), void* argument,
                bool waitable);
    bool JoinToKill();
    bool CancelDetached();
    pthread_t Forget();

    pthread_t m_Thread = 0;
    const bool m_KillAliveThread;
    bool m_IsWaitable = false;
    // Shared with the thread, so that a detached one that has ended is never touched by its id.
    std::shared_ptr<LifeMark> m_LifeMark;
};

// Counting semaphores, local to the process.
//
// Threads: every operation may be called from any thread, also at the same time on one object. A
// call goes on with the body that it began with.
//
// Cancellation: a Wait without limit is a cancellation point; a cancelled one has taken nothing.
//
// Static objects: semaphores may be constructed and destroyed by static initialisation in any
// order. The process-wide table of names, guarded by its own lock, is made on first use and never
// destroyed.
#pragma once

#include <memory>

#include "base/critical_section.h"
#include "base/export.h"
#include "os/wait_result.h"

class MORLA_API CSemaphore {
public:
    CSemaphore() = default;  // without a body
    // No thread may be inside a call on this object.
    ~CSemaphore() = default;
    CSemaphore(const CSemaphore&) = delete;
    CSemaphore& operator=(const CSemaphore&) = delete;

    // Without a name: makes a semaphore whose count is the lower of the two numbers. An object that
    // has a body gives it back first, as Delete does, and fails where Delete fails. False also when
    // `initialCount` is negative or `maximumCount` is not within 0 and SEM_VALUE_MAX; the object
    // then has no body. Nothing holds later releases to `maximumCount`. Throws std::bad_alloc.
    // Deliberate: with a name that the table does not have, true is returned and nothing changes.
    // No name is ever entered, so every Wait of an object that was only created by name fails.
    bool Create(long initialCount, long maximumCount, const char* name);

    // Takes one from the count. kWaitInfinite waits for it; a signal handler that runs meanwhile
    // may end that wait with kWaitError. 0 only tries: kWaitTimeout when the count is 0. kWaitError
    // without a body.
    // Deliberate: a finite time-out does not wait either, it fails with kWaitError at once; callers
    // poll.
    int Wait(unsigned int timeoutMs);

    // Adds `count`, one at a time. False when `count` is below 1, without a body, and when the last
    // step would exceed SEM_VALUE_MAX.
    bool Release(long count);

    // Gives the reference back. True when it was the last one and the semaphore has ended. Threads
    // that still wait on it are not woken.
    // Deliberate: the object keeps the ended body, so that later calls, Create without a name among
    // them, fail.
    bool Delete();

private:
    struct Body;

    std::shared_ptr<Body> LiveBody();
    void ShareNamed(const char* name);

    CCriticalSection m_Lock;       // guards m_Body; before the table's lock
    std::shared_ptr<Body> m_Body;  // null, live or ended
};

// Events with manual or automatic reset, shared by name within the process.
//
// A CEvent is a handle; the state lives in a body that all handles opened under one name, and
// handles assigned from each other, share. Names stay inside the process: two processes never share
// an event.
//
// Threads: every operation may be called from any thread, also at the same time on one handle. The
// handle must outlive the calls on it, with two exceptions: a thread may be asleep in Wait when the
// handle is destroyed, and a thread that Wait has released may destroy the handle while the Set or
// Pulse that released it is still returning. Assigning to a handle affects the calls that begin
// afterwards.
//
// Cancellation: Wait is a cancellation point and leaves the event as if the wait had not begun. The
// traces of the other operations may be one too; construction and destruction are none.
//
// Static objects: events may be constructed and destroyed by static initialisation in any order.
// The process-wide state, a name table and the events lock that guards it and all reference counts,
// is made on first use and never destroyed. Lock order: events lock, then the table's lock; a
// body's mutex is taken alone. Traces are made under these locks, so the lock of `Debug` comes
// last.
#pragma once

#include <atomic>

#include "base/export.h"
#include "os/wait_result.h"

class MORLA_API CEvent {
public:
    // With a name that another handle has open, shares that event and ignores `initialState`; a
    // different `manualReset` is only traced as a warning. Otherwise makes a new event; a null name
    // makes an anonymous one. The name is copied. Throws std::bad_alloc.
    CEvent(bool initialState, bool manualReset, const char* name);
    // The last handle of an event blocks, in steps of one second, until no thread is inside Wait.
    ~CEvent();
    CEvent(const CEvent&) = delete;  // a copy is made by assigning to a handle
    // Shares the other handle's event and opens this handle again if it was closed.
    // Deliberate: the reference to the event held before is not given back, so that event lives,
    // and its name stays open, until the process ends.
    CEvent& operator=(const CEvent& other);

    // Changes the attributes of the existing event; does not make one, and ignores the name. False
    // when the handle is closed or a thread waits.
    bool Create(bool initialState, bool manualReset, const char* name);

    // Does nothing; true.
    bool Open(const char* /*name*/, unsigned int /*access*/, bool /*inherit*/) { return true; }
    [[nodiscard]] bool IsOpen() const { return !m_IsClosed; }

    // Signals the event: releases every waiter of a manual event, one of an automatic event. With
    // no waiter the event stays signalled: a manual one until Reset, an automatic one until one
    // Wait takes the signal. False when closed.
    bool Set();

    // Releases the threads that wait now, as Set does, and leaves the event reset. False when
    // closed.
    bool Pulse();

    // False when closed.
    bool Reset();

    // Whether the event is signalled at this moment; does not take the signal of an automatic one,
    // and takes no lock. What a thread wrote before Set is visible after a true result.
    // False when closed.
    bool IsSet();

    // Makes this handle fail from now on, signals the event and releases every thread that waits
    // on it through any handle, also when it is automatic; such waiters take the signal with them.
    // The other handles stay open. False when already closed.
    bool Close();

    // Waits for the signal at most `timeoutMs` milliseconds of the monotonic clock, kWaitInfinite
    // without limit. `alertable` has no meaning. Returns kWaitSignaled, kWaitTimeout, or kWaitError
    // (closed when the call began, or the system refused).
    // Deliberate: a thread that was woken does not look at the state again. Pulse depends on it; so
    // when an automatic event is set while one thread sleeps in Wait and another arrives, both may
    // return kWaitSignaled.
    int Wait(unsigned int timeoutMs, bool alertable = false);

private:
    struct Body;
    struct ProcessState;
    class CBodyLock;
    class CWaiterCount;

    static ProcessState& State();
    static bool Wake(Body& body);
    static int WaitForWakeUp(Body& body, unsigned int timeoutMs);
    Body* OpenBody() const;
    void Share(Body& body, bool manualReset);

    std::atomic<Body*> m_Body{nullptr};
    std::atomic<bool> m_IsClosed{false};
};

// The right to be inside the lists of a device scan: its access event, made strict.
#pragma once

#include <atomic>
#include <mutex>

#include "os/event.h"

// Taken for a scope and given back at its end, also by an exception or a thread cancellation.
//
// An automatic event may release two threads with one signal (see CEvent::Wait), so whoever took it
// also locks the lists; the second one waits there for the rest of its time. Give-back: unlocks the
// lists, then sets the event.
class CScanAccess {
public:
    CScanAccess(CEvent& event, std::timed_mutex& lists) : m_Event(event), m_Lists(lists) {}
    ~CScanAccess() { GiveBack(); }
    CScanAccess(const CScanAccess&) = delete;
    CScanAccess& operator=(const CScanAccess&) = delete;

    // Waits at most `timeoutMs` milliseconds, kWaitInfinite without limit; also ends, with false,
    // soon after `giveUp` became true. A cancellation point.
    [[nodiscard]] bool Take(unsigned int timeoutMs, const std::atomic<bool>* giveUp = nullptr);
    void GiveBack();
    // Unlocks the lists and leaves the event taken, so that everyone else runs into his time-out.
    void LeaveEventTaken();

private:
    [[nodiscard]] bool TakeEvent(unsigned int timeoutMs, const std::atomic<bool>* giveUp);

    CEvent& m_Event;
    std::timed_mutex& m_Lists;
    bool m_IsTaken = false;
};

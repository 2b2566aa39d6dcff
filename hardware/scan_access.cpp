#include "hardware/scan_access.h"

#include <algorithm>
#include <chrono>

#include "base/cancellation.h"
#include "os/wait_result.h"

namespace {

// How long a wait that can be given up goes without a look.
constexpr unsigned int kLookEveryMs = 100;

}  // namespace

bool CScanAccess::TakeEvent(unsigned int timeoutMs, const std::atomic<bool>* giveUp) {
    if (giveUp == nullptr) {
        return m_Event.Wait(timeoutMs) == kWaitSignaled;
    }
    unsigned int leftMs = timeoutMs;
    while (leftMs > 0 && !*giveUp) {
        const unsigned int stepMs = std::min(kLookEveryMs, leftMs);
        const int result = m_Event.Wait(stepMs);
        if (result != kWaitTimeout) {
            return result == kWaitSignaled;
        }
        leftMs -= timeoutMs == kWaitInfinite ? 0 : stepMs;
    }
    return false;
}

// The lists are free at once, unless the event has let in two, or the lists are being copied. Who
// fails to get them sets the event again, since a copy does not; the lists still keep others out.
bool CScanAccess::Take(unsigned int timeoutMs, const std::atomic<bool>* giveUp) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = timeoutMs == kWaitInfinite
                                           ? Clock::time_point::max()
                                           : Clock::now() + std::chrono::milliseconds(timeoutMs);
    if (!TakeEvent(timeoutMs, giveUp)) {
        return false;
    }
    m_IsTaken = m_Lists.try_lock();
    // By the system's clock, which the thread sanitizer follows; one that is set costs a step.
    while (!m_IsTaken && Clock::now() < deadline && (giveUp == nullptr || !*giveUp)) {
        m_IsTaken = m_Lists.try_lock_until(std::chrono::system_clock::now() +
                                           std::chrono::milliseconds(kLookEveryMs));
    }
    if (!m_IsTaken) {
        const CCancellationHold hold;
        m_Event.Set();
    }
    return m_IsTaken;
}

void CScanAccess::GiveBack() {
    if (m_IsTaken) {
        const CCancellationHold hold;
        m_IsTaken = false;
        m_Lists.unlock();
        m_Event.Set();
    }
}

void CScanAccess::LeaveEventTaken() {
    if (m_IsTaken) {
        m_IsTaken = false;
        m_Lists.unlock();
    }
}

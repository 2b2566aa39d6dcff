#include "switch/module_context.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>

int CModuleContext::Open() {
    m_StopEvent.Reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    return m_StopEvent.IsValid() ? 0 : errno;
}

void CModuleContext::RequestStop() {
    m_IsStopRequested = true;
    // Cannot fail: the counter is at 0, or at 1 from an earlier request.
    static_cast<void>(eventfd_write(m_StopEvent.Get(), 1));
}

const char* CModuleContext::Setting(const char* key, const char* fallback) const {
    const char* const value = key != nullptr ? m_Settings->Find(m_Name, key) : nullptr;
    return value != nullptr ? value : fallback;
}

bool CModuleContext::WaitForStop(std::uint32_t timeoutMs) const {
    using Clock = std::chrono::steady_clock;
    using std::chrono::milliseconds;
    const auto deadline = Clock::now() + milliseconds(timeoutMs);
    while (!IsStopRequested()) {
        auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
        if (timeoutMs == kNoTimeLimit) {
            left = milliseconds(INT_MAX);
        }
        if (left.count() <= 0) {
            return false;
        }
        // Waiting again is right after every result: time-out, signal, or the request itself.
        pollfd stop{m_StopEvent.Get(), POLLIN, 0};
        static_cast<void>(
            poll(&stop, 1, static_cast<int>(std::min(left, milliseconds(INT_MAX)).count())));
    }
    return true;
}

#include "os/semaphore.h"

#include <semaphore.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdint>

#include "base/str_map.h"

// The memory lives as long as an object or a running call holds it, also when the semaphore in it
// has ended.
struct CSemaphore::Body : std::enable_shared_from_this<CSemaphore::Body> {
    explicit Body(unsigned int count) : IsMade(sem_init(&Semaphore, 0, count) == 0) {}
    ~Body() {
        if (IsMade && References > 0) {
            sem_destroy(&Semaphore);
        }
    }
    Body(const Body&) = delete;
    Body& operator=(const Body&) = delete;

    sem_t Semaphore{};
    const bool IsMade;
    std::atomic<std::uint32_t> References{1};  // 0: the semaphore has ended
};

namespace {

// Rows' Data is the Body; Type is not used. Never destroyed: semaphores with static storage may
// outlive everything that could own it.
CStrMap& Names() {
    // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): one table per process
    static auto& names = *new CStrMap;
    return names;
}

}  // namespace

bool CSemaphore::Create(long initialCount, long maximumCount, const char* name) {
    const CCriticalSectionGuard guard(m_Lock);
    if (name != nullptr) {
        ShareNamed(name);
        return true;
    }
    if (m_Body != nullptr && !Delete()) {
        return false;
    }
    m_Body.reset();
    if (initialCount < 0 || maximumCount < 0 || maximumCount > SEM_VALUE_MAX) {
        return false;
    }
    const long count = std::min(initialCount, maximumCount);
    auto body = std::make_shared<Body>(static_cast<unsigned int>(count));
    if (!body->IsMade) {
        return false;
    }
    m_Body = std::move(body);
    return true;
}

// Takes the named semaphore's body over, if there is one. Under m_Lock.
void CSemaphore::ShareNamed(const char* name) {
    const CCriticalSectionGuard guard(Names());
    const StrMapRow* row = Names().Find(name);
    if (row == nullptr || row->Data == nullptr) {
        return;
    }
    m_Body = static_cast<Body*>(row->Data)->shared_from_this();
    ++m_Body->References;
}

int CSemaphore::Wait(unsigned int timeoutMs) {
    const std::shared_ptr<Body> body = LiveBody();
    if (body == nullptr) {
        return kWaitError;
    }
    if (timeoutMs == kWaitInfinite) {
        return sem_wait(&body->Semaphore) == 0 ? kWaitSignaled : kWaitError;
    }
    // Deliberate: one attempt, whatever the time-out; callers poll.
    if (sem_trywait(&body->Semaphore) == 0) {
        return kWaitSignaled;
    }
    return timeoutMs == 0 ? kWaitTimeout : kWaitError;
}

bool CSemaphore::Release(long count) {
    const std::shared_ptr<Body> body = LiveBody();
    bool isPosted = body != nullptr && count > 0;
    // A full semaphore takes none of the others either, however many they are.
    for (long i = 0; isPosted && i < count; ++i) {
        isPosted = sem_post(&body->Semaphore) == 0;
    }
    return isPosted;
}

bool CSemaphore::Delete() {
    const CCriticalSectionGuard guard(m_Lock);
    if (m_Body == nullptr || m_Body->References == 0) {
        return false;
    }
    return --m_Body->References == 0 && sem_destroy(&m_Body->Semaphore) == 0;
}

// The body, or null when there is none or its semaphore has ended.
std::shared_ptr<CSemaphore::Body> CSemaphore::LiveBody() {
    const CCriticalSectionGuard guard(m_Lock);
    return m_Body != nullptr && m_Body->References > 0 ? m_Body : nullptr;
}

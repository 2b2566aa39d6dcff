#include "base/critical_section.h"

CCriticalSection::CCriticalSection() : m_Valid(pthread_mutex_init(&m_Mutex, nullptr) == 0) {}

CCriticalSection::~CCriticalSection() {
    if (!m_Valid) {
        return;
    }
    if (m_Depth > 0) {
        m_Depth = 1;
        Leave();
    }
    pthread_mutex_destroy(&m_Mutex);
    m_Valid = false;  // a late caller (static destruction) passes without locking
}

void CCriticalSection::SpinWhileHeld() const {
    constexpr int kTurns = 60;  // some hundred nanoseconds to two microseconds, by processor
    for (int i = 0; i < kTurns && m_Owner.load(std::memory_order_relaxed) != nullptr; ++i) {
        __builtin_ia32_pause();
    }
}

void CCriticalSection::CleanupHandlerForCritSecMutex(void* section) {
    auto* self = static_cast<CCriticalSection*>(section);
    if (!self->m_Valid) {
        return;
    }
    self->m_Depth = 0;
    self->m_Owner.store(nullptr, std::memory_order_relaxed);
    pthread_mutex_unlock(&self->m_Mutex);
}

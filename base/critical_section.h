// A recursive lock on a plain POSIX mutex, and its scope guard.
#pragma once

#include <pthread.h>

#include <atomic>

#include "base/export.h"

// Recursive by an owner field, so that a thread which already holds the section never touches the
// mutex. Not copyable. All operations may be called from any thread; they never fail outward: a
// section whose mutex could not be initialised lets everyone pass without locking.
class MORLA_API CCriticalSection {
public:
    CCriticalSection();
    // Gives the mutex back first when the caller holds the section. No other thread may be inside
    // or waiting.
    ~CCriticalSection();
    CCriticalSection(const CCriticalSection&) = delete;
    CCriticalSection& operator=(const CCriticalSection&) = delete;

    // Blocks until the calling thread holds the section. Each Enter needs its own Leave.
    void Enter() {
        if (!m_Valid) {
            return;
        }
        const void* const self = Self();
        // A thread can only ever read its own id here if it stored it itself, so the unlocked
        // read is decided without a race.
        const void* const owner = m_Owner.load(std::memory_order_relaxed);
        if (owner != self) {
            if (owner != nullptr) {
                SpinWhileHeld();
            }
            pthread_mutex_lock(&m_Mutex);
            m_Owner.store(self, std::memory_order_relaxed);
        }
        ++m_Depth;
    }

    // Undoes one Enter. A call by a thread that does not hold the section changes nothing.
    void Leave() {
        if (!m_Valid || m_Owner.load(std::memory_order_relaxed) != Self()) {
            return;
        }
        if (--m_Depth == 0) {
            m_Owner.store(nullptr, std::memory_order_relaxed);
            pthread_mutex_unlock(&m_Mutex);
        }
    }

    // False when the mutex could not be initialised, and after destruction.
    [[nodiscard]] bool IsValid() const { return m_Valid; }

    // For pthread_cleanup_push while the section is held: frees it whatever its depth.
    // `section` is the CCriticalSection.
    static void CleanupHandlerForCritSecMutex(void* section);

private:
    // The calling thread, as pthread_self tells threads apart, in one instruction instead of a
    // call.
    static const void* Self() { return __builtin_thread_pointer(); }

    // What is locked is mostly held for less time than a thread needs to fall asleep.
    void SpinWhileHeld() const;

    pthread_mutex_t m_Mutex{};
    std::atomic<const void*> m_Owner{};  // null when free; written by the holder only
    int m_Depth = 0;                     // nested entries; touched by the holder only
    bool m_Valid = false;
};

// Holds a section for a scope, also when an exception or a thread cancellation passes through it.
class CCriticalSectionGuard {
public:
    explicit CCriticalSectionGuard(CCriticalSection& section) : m_Section(section) {
        m_Section.Enter();
    }
    ~CCriticalSectionGuard() { m_Section.Leave(); }
    CCriticalSectionGuard(const CCriticalSectionGuard&) = delete;
    CCriticalSectionGuard& operator=(const CCriticalSectionGuard&) = delete;

private:
    CCriticalSection& m_Section;
};

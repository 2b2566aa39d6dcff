#include "base/critical_section.h"

#include <pthread.h>
#include <semaphore.h>

#include <atomic>
#include <cerrno>
#include <optional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

bool isMutexRefused = false;
int mutexesDestroyed = 0;

}  // namespace

// The linker gives these names.
extern "C" {
int __real_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attribute);
int __real_pthread_mutex_destroy(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attribute);
int __wrap_pthread_mutex_destroy(pthread_mutex_t* mutex);
}
int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attribute) {
    return isMutexRefused ? ENOMEM : __real_pthread_mutex_init(mutex, attribute);
}
int __wrap_pthread_mutex_destroy(pthread_mutex_t* mutex) {
    const int error = __real_pthread_mutex_destroy(mutex);
    mutexesDestroyed += error == 0 ? 1 : 0;
    return error;
}

namespace {

// Whether another thread can enter and leave the section now, without waiting for it: that thread
// reports that it got in, or is let in at the end by the caller leaving.
class CContender {
public:
    explicit CContender(CCriticalSection& section)
        : m_Thread([this, &section] {
              section.Enter();
              m_IsInside = true;
              section.Leave();
          }) {}
    ~CContender() { m_Thread.join(); }
    [[nodiscard]] bool IsInside() const { return m_IsInside; }

private:
    std::atomic<bool> m_IsInside{false};
    std::thread m_Thread;
};

TEST(CriticalSection, NeedsAsManyLeavesAsEnters) {
    CCriticalSection section;
    section.Enter();
    section.Enter();
    section.Enter();
    {
        CContender contender(section);
        section.Leave();
        section.Leave();
        EXPECT_FALSE(contender.IsInside());
        section.Leave();
    }
    section.Enter();  // free again: would hang otherwise
    section.Leave();
}

TEST(CriticalSection, IgnoresALeaveByAnotherThread) {
    CCriticalSection section;
    section.Enter();
    std::thread([&section] { section.Leave(); }).join();
    CContender contender(section);
    EXPECT_FALSE(contender.IsInside());
    section.Leave();
}

TEST(CriticalSection, LetsEveryonePassWithoutAMutex) {
    isMutexRefused = true;
    CCriticalSection section;
    isMutexRefused = false;
    EXPECT_FALSE(section.IsValid());
    section.Enter();
    std::thread([&section] { const CCriticalSectionGuard guard(section); }).join();
    CCriticalSection::CleanupHandlerForCritSecMutex(&section);
    section.Leave();
}

TEST(CriticalSection, MayBeDestroyedByItsHolderAtAnyDepth) {
    std::optional<CCriticalSection> section(std::in_place);
    section->Enter();
    section->Enter();
    mutexesDestroyed = 0;
    section.reset();
    EXPECT_EQ(mutexesDestroyed, 1) << "free by then, or the system would have refused";
}

TEST(CriticalSection, CountsEveryThreadExactlyOnce) {
    constexpr int kThreads = 8;
    constexpr int kRounds = 20'000;
    CCriticalSection section;
    int plain = 0;  // guarded by the section alone
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                const CCriticalSectionGuard outer(section);
                const CCriticalSectionGuard inner(section);
                ++plain;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(plain, kThreads * kRounds);
}

TEST(CriticalSection, CleanupHandlerFreesItAtAnyDepthWhenAThreadIsCancelled) {
    struct Shared {
        CCriticalSection Section;
        sem_t IsInside{};
    } shared;
    sem_init(&shared.IsInside, 0, 0);
    pthread_t thread{};
    const auto body = [](void* argument) -> void* {
        auto* own = static_cast<Shared*>(argument);
        own->Section.Enter();
        own->Section.Enter();
        pthread_cleanup_push(CCriticalSection::CleanupHandlerForCritSecMutex, &own->Section);
        sem_post(&own->IsInside);
        while (true) {
            pthread_testcancel();
            sched_yield();
        }
        pthread_cleanup_pop(0);
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, nullptr, body, &shared), 0);
    sem_wait(&shared.IsInside);
    pthread_cancel(thread);
    void* result = nullptr;
    pthread_join(thread, &result);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    shared.Section.Enter();
    shared.Section.Leave();
    sem_destroy(&shared.IsInside);
}

}  // namespace

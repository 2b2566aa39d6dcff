#include "base/critical_section.h"

#include <pthread.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/cancelled_thread.h"

namespace {

bool isMutexRefused = false;
std::atomic<int> unlocks{0};

}  // namespace

// The linker gives these names.
extern "C" {
int __real_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attribute);
int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attribute);
int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex);
}
int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attribute) {
    return isMutexRefused ? ENOMEM : __real_pthread_mutex_init(mutex, attribute);
}
int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) {
    ++unlocks;
    return __real_pthread_mutex_unlock(mutex);
}

namespace {

TEST(CriticalSection, NeedsAsManyLeavesAsEntersOfItsHolder) {
    CCriticalSection section;
    section.Enter();
    section.Enter();
    unlocks = 0;  // the test's own output makes some as well
    std::thread([&section] { section.Leave(); }).join();
    section.Leave();
    const int before = unlocks;
    section.Leave();
    const int after = unlocks;
    EXPECT_EQ(before, 0);
    EXPECT_EQ(after, 1);
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
    unlocks = 0;
    section.reset();
    const int count = unlocks;
    EXPECT_EQ(count, 1);
}

TEST(CriticalSection, CountsEveryThreadExactlyOnce) {
    constexpr int kRounds = 20'000;
    CCriticalSection section;
    int plain = 0;  // guarded by the section alone
    const auto count = [&] {
        for (int round = 0; round < kRounds; ++round) {
            const CCriticalSectionGuard outer(section);
            const CCriticalSectionGuard inner(section);
            ++plain;
        }
    };
    std::array<std::thread, 8> threads;
    for (std::thread& thread : threads) {
        thread = std::thread(count);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(plain, 8 * kRounds);
}

TEST(CriticalSection, CleanupHandlerFreesItAtAnyDepthWhenAThreadIsCancelled) {
    CCriticalSection section;
    InCancelledThread([&section] {
        section.Enter();
        section.Enter();
        pthread_cleanup_push(CCriticalSection::CleanupHandlerForCritSecMutex, &section);
        pthread_testcancel();
        pthread_cleanup_pop(0);
    });
    { const CCriticalSectionGuard guard(section); }  // hangs when it was left held
    std::thread([&section] { const CCriticalSectionGuard guard(section); }).join();
}

}  // namespace

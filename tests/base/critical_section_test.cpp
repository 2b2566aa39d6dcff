#include "base/critical_section.h"

#include <pthread.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/cancelled_thread.h"

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

TEST(CriticalSection, NeedsAsManyLeavesAsEntersOfItsHolder) {
    CCriticalSection section;
    section.Enter();
    section.Enter();
    std::thread([&section] { section.Leave(); }).join();  // changes nothing
    section.Leave();
    std::atomic<bool> isInside{false};
    std::thread contender([&] {
        const CCriticalSectionGuard guard(section);
        isInside = true;
    });
    // A section that is free already would let it in meanwhile, as a rule.
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_FALSE(isInside);
    section.Leave();
    contender.join();
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
    const CCriticalSectionGuard guard(section);  // hangs when it was left held
}

}  // namespace

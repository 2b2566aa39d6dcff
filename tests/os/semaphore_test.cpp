#include "os/semaphore.h"

#include <pthread.h>
#include <semaphore.h>

#include <climits>
#include <thread>

#include <gtest/gtest.h>

namespace {

// Takes everything; the count that the semaphore had.
long Drain(CSemaphore& semaphore) {
    long count = 0;
    while (semaphore.Wait(0) == kWaitSignaled) {
        ++count;
    }
    return count;
}

TEST(Semaphore, StartsAtTheLowerOfBothCounts) {
    const struct {
        long Initial, Maximum;
        bool IsMade;
        long Count;
    } rows[] = {
        {0, 5, true, 0},
        {3, 5, true, 3},
        {5, 5, true, 5},
        {7, 5, true, 5},
        {0, 0, true, 0},
        {2, SEM_VALUE_MAX, true, 2},
        {0, SEM_VALUE_MAX + 1L, false, 0},
        {0, 0x100000001L, false, 0},
        {0, -1, false, 0},
        {-1, 5, false, 0},
    };
    CSemaphore semaphore;
    for (const auto& row : rows) {
        EXPECT_EQ(semaphore.Create(row.Initial, row.Maximum, nullptr), row.IsMade) << row.Maximum;
        EXPECT_EQ(Drain(semaphore), row.Count) << row.Initial << " of " << row.Maximum;
        EXPECT_EQ(semaphore.Wait(0), row.IsMade ? kWaitTimeout : kWaitError);
    }
}

TEST(Semaphore, EachReleaseLetsOneWaitSucceed) {
    CSemaphore semaphore;
    ASSERT_TRUE(semaphore.Create(0, 5, nullptr));
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(semaphore.Release(1));
    }
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(semaphore.Wait(kWaitInfinite), kWaitSignaled);
    }
    EXPECT_FALSE(semaphore.Release(0));
    EXPECT_FALSE(semaphore.Release(-1));
    EXPECT_EQ(Drain(semaphore), 0);
    EXPECT_TRUE(semaphore.Release(7));  // beyond the maximum: nothing holds it
    EXPECT_EQ(Drain(semaphore), 7);
    ASSERT_TRUE(semaphore.Create(SEM_VALUE_MAX, SEM_VALUE_MAX, nullptr));
    EXPECT_FALSE(semaphore.Release(1));
}

TEST(Semaphore, AFiniteTimeoutTriesOnceAndFails) {
    CSemaphore semaphore;
    ASSERT_TRUE(semaphore.Create(1, 1, nullptr));
    EXPECT_EQ(semaphore.Wait(5000), kWaitSignaled);
    EXPECT_EQ(semaphore.Wait(5000), kWaitError);
    EXPECT_EQ(semaphore.Wait(kWaitInfinite - 1), kWaitError);
    EXPECT_EQ(semaphore.Wait(0), kWaitTimeout);
}

TEST(Semaphore, CreationByNameSucceedsAndMakesNothing) {
    CSemaphore semaphore;
    EXPECT_TRUE(semaphore.Create(1, 1, "named"));
    EXPECT_TRUE(semaphore.Create(1, 1, "named"));
    for (const unsigned int timeoutMs : {0U, 5000U, kWaitInfinite}) {
        EXPECT_EQ(semaphore.Wait(timeoutMs), kWaitError);
    }
    EXPECT_FALSE(semaphore.Release(1));
    EXPECT_FALSE(semaphore.Delete());

    ASSERT_TRUE(semaphore.Create(2, 2, nullptr));
    EXPECT_TRUE(semaphore.Create(1, 1, "named"));
    EXPECT_EQ(Drain(semaphore), 2);  // left as it was
}

TEST(Semaphore, KeepsItsEndedBodyAfterDelete) {
    CSemaphore semaphore;
    ASSERT_TRUE(semaphore.Create(1, 1, nullptr));
    EXPECT_TRUE(semaphore.Delete());
    EXPECT_FALSE(semaphore.Delete());
    EXPECT_EQ(semaphore.Wait(kWaitInfinite), kWaitError);
    EXPECT_FALSE(semaphore.Release(1));
    EXPECT_FALSE(semaphore.Create(1, 1, nullptr));
    EXPECT_EQ(semaphore.Wait(0), kWaitError);
}

TEST(Semaphore, AReleaseWakesASleepingWaiterAndACancelledOneTakesNothing) {
    CSemaphore semaphore;
    ASSERT_TRUE(semaphore.Create(0, 1, nullptr));
    pthread_t cancelled{};
    const auto wait = [](void* argument) -> void* {
        static_cast<CSemaphore*>(argument)->Wait(kWaitInfinite);
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&cancelled, nullptr, wait, &semaphore), 0);
    pthread_cancel(cancelled);
    void* result = nullptr;
    pthread_join(cancelled, &result);
    EXPECT_EQ(result, PTHREAD_CANCELED);

    int plain = 0;  // guarded by the semaphore alone
    std::thread waiter([&] {
        EXPECT_EQ(semaphore.Wait(kWaitInfinite), kWaitSignaled);
        EXPECT_EQ(plain, 1);
    });
    plain = 1;
    EXPECT_TRUE(semaphore.Release(1));
    waiter.join();
    EXPECT_EQ(Drain(semaphore), 0);
}

}  // namespace

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

TEST(Semaphore, StartsAtTheLowerOfBothCountsAndIsNotHeldByTheMaximum) {
    const struct {
        long Initial, Maximum;
        long Count;  // -1: not made
    } rows[] = {{3, 5, 3},
                {7, 5, 5},
                {0, 0, 0},
                {2, SEM_VALUE_MAX, 2},
                {0, SEM_VALUE_MAX + 1L, -1},
                {0, -1, -1},
                {-1, 5, -1},
                {0, 0x100000001L, -1}};
    CSemaphore semaphore;
    for (const auto& [initial, maximum, count] : rows) {
        const bool isMade = count >= 0;
        EXPECT_EQ(semaphore.Create(initial, maximum, nullptr), isMade) << maximum;
        EXPECT_EQ(Drain(semaphore), isMade ? count : 0) << initial << " of " << maximum;
        EXPECT_EQ(semaphore.Wait(0), isMade ? kWaitTimeout : kWaitError);
        EXPECT_EQ(semaphore.Release(7), isMade);
        EXPECT_EQ(Drain(semaphore), isMade ? 7 : 0);
        EXPECT_FALSE(semaphore.Release(0) || semaphore.Release(-1));
    }
    ASSERT_TRUE(semaphore.Create(SEM_VALUE_MAX, SEM_VALUE_MAX, nullptr));
    EXPECT_FALSE(semaphore.Release(1) || semaphore.Release(LONG_MAX));
}

TEST(Semaphore, AFiniteTimeoutTriesOnceAndFails) {
    CSemaphore semaphore;
    ASSERT_TRUE(semaphore.Create(1, 1, nullptr));
    EXPECT_EQ(semaphore.Wait(5000), kWaitSignaled);
    EXPECT_EQ(semaphore.Wait(5000), kWaitError);
    EXPECT_EQ(semaphore.Wait(kWaitInfinite - 1), kWaitError);
    EXPECT_EQ(semaphore.Wait(0), kWaitTimeout);
}

TEST(Semaphore, CreationByNameMakesNothingAndDeleteLeavesAnEndedBody) {
    CSemaphore semaphore;
    const auto hasNone = [&] {
        return semaphore.Wait(0) == kWaitError && semaphore.Wait(kWaitInfinite) == kWaitError &&
               !semaphore.Release(1) && !semaphore.Delete();
    };
    EXPECT_TRUE(semaphore.Create(1, 1, "named"));
    EXPECT_TRUE(semaphore.Create(1, 1, "named"));
    EXPECT_TRUE(hasNone());
    ASSERT_TRUE(semaphore.Create(2, 2, nullptr));
    EXPECT_TRUE(semaphore.Create(1, 1, "named"));
    EXPECT_EQ(Drain(semaphore), 2) << "left as it was";
    EXPECT_TRUE(semaphore.Delete());
    EXPECT_FALSE(semaphore.Create(1, 1, nullptr));
    EXPECT_TRUE(hasNone());
}

TEST(Semaphore, AReleaseWakesASleepingWaiterAndACancelledOneTakesNothing) {
    CSemaphore semaphore;
    ASSERT_TRUE(semaphore.Create(0, 1, nullptr));
    std::thread cancelled([&] {
        semaphore.Wait(kWaitInfinite);
        ADD_FAILURE() << "not cancelled";
    });
    pthread_cancel(cancelled.native_handle());
    cancelled.join();
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

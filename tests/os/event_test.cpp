#include "os/event.h"

#include <thread>

#include <gtest/gtest.h>

namespace {

TEST(Event, SetTwiceReleasesOneWaitOfAnAutomaticEvent) {
    CEvent event(false, false, nullptr);
    EXPECT_TRUE(event.Set());
    EXPECT_TRUE(event.Set());
    EXPECT_EQ(event.Wait(0), kWaitSignaled);
    EXPECT_EQ(event.Wait(0), kWaitTimeout);
}

TEST(Event, ReleasesAWaitInAnotherThread) {
    CEvent event(false, true, nullptr);
    std::thread waiter([&] { EXPECT_EQ(event.Wait(kWaitInfinite), kWaitSignaled); });
    EXPECT_TRUE(event.Set());
    waiter.join();
    EXPECT_TRUE(event.IsSet());
}

}  // namespace

// What a thread does that has been asked to end.
#pragma once

#include <pthread.h>

#include <gtest/gtest.h>

// Runs `body` in a thread that a cancellation is pending for: it ends at the first cancellation
// point of the body, or behind it.
template <typename Body>
void InCancelledThread(Body body) {
    pthread_t thread{};
    const auto run = [](void* argument) -> void* {
        pthread_cancel(pthread_self());
        (*static_cast<Body*>(argument))();
        pthread_testcancel();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, nullptr, run, &body), 0);
    void* result = nullptr;
    ASSERT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
}

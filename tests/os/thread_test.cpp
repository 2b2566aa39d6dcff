#include "os/thread.h"

#include <sched.h>

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "os/event.h"

extern "C" {
int __real_pthread_cancel(pthread_t thread);
int __wrap_pthread_cancel(pthread_t thread);
}

namespace {

std::atomic<int> Cancellations{0};

// What a thread of these tests does: report, wait at a gate, report its end, however it comes.
struct Task {
    CEvent IsRunning{false, true, nullptr};
    CEvent Gate{false, true, nullptr};
    CEvent IsUnwound{false, true, nullptr};
    std::atomic<bool> IsFinished{false};
};

void* RunTask(void* argument) {
    struct Unwinding {
        CEvent& Event;
        ~Unwinding() { Event.Set(); }
    };
    auto& task = *static_cast<Task*>(argument);
    const Unwinding unwinding{task.IsUnwound};
    task.IsRunning.Set();
    task.Gate.Wait(kWaitInfinite);
    task.IsFinished = true;
    return nullptr;
}

bool Start(CThread& thread, Task& task, bool waitable) {
    const bool isStarted = thread.Start(RunTask, &task, 0, false, 0, 0, waitable);
    return isStarted && task.IsRunning.Wait(kWaitInfinite) == kWaitSignaled;
}

class Thread : public testing::Test {
protected:
    void SetUp() override { Cancellations = 0; }
};

TEST_F(Thread, WithoutAThreadThereIsNothingToWaitForOrToKill) {
    CThread thread;
    EXPECT_EQ(thread.Id(), 0U);
    EXPECT_TRUE(thread.WaitForTermination(kWaitInfinite));
    EXPECT_FALSE(thread.Kill(0));
}

// Both join, whatever the time-out; neither cancels.
TEST_F(Thread, WaitingAndKillingLetAWaitableThreadRunToItsEnd) {
    for (const unsigned int timeoutMs : {kWaitInfinite, 0U}) {
        for (const bool isKill : {false, true}) {
            Task task;
            CThread thread;
            ASSERT_TRUE(Start(thread, task, true));
            EXPECT_NE(thread.Id(), 0U);
            std::thread opener([&task] { task.Gate.Set(); });
            EXPECT_TRUE(isKill ? thread.Kill(timeoutMs) : thread.WaitForTermination(timeoutMs));
            EXPECT_TRUE(task.IsFinished);
            EXPECT_EQ(thread.Id(), 0U);
            opener.join();
        }
    }
    EXPECT_EQ(Cancellations, 0);
}

TEST_F(Thread, KillCancelsADetachedThreadAndItsWaitUnwinds) {
    Task task;
    CThread thread;
    ASSERT_TRUE(Start(thread, task, false));
    EXPECT_FALSE(thread.WaitForTermination(0));
    EXPECT_NE(thread.Id(), 0U);
    EXPECT_TRUE(thread.Kill(0));
    EXPECT_EQ(thread.Id(), 0U);
    EXPECT_EQ(task.IsUnwound.Wait(kWaitInfinite), kWaitSignaled);
    EXPECT_FALSE(task.IsFinished);
    EXPECT_EQ(Cancellations, 1);
    EXPECT_FALSE(thread.Kill(0));
}

// A thread's own objects are destroyed after its function has returned.
CEvent HasReturned(false, true, nullptr);
struct AtThreadExit {
    ~AtThreadExit() { HasReturned.Set(); }
    bool IsUsed = false;
};
thread_local AtThreadExit Exit;

TEST_F(Thread, ADetachedThreadThatHasEndedCountsAsKilledAndIsNotTouched) {
    HasReturned.Reset();
    CThread thread;
    const auto function = [](void* /*argument*/) -> void* {
        Exit.IsUsed = true;
        return nullptr;
    };
    ASSERT_TRUE(thread.Start(function, nullptr, 0, false, 0, 0, false));
    ASSERT_EQ(HasReturned.Wait(kWaitInfinite), kWaitSignaled);
    EXPECT_TRUE(thread.Kill(0));
    EXPECT_EQ(Cancellations, 0);
    EXPECT_EQ(thread.Id(), 0U);
}

TEST_F(Thread, StartKillsTheThreadBeforeOnlyWhenAskedTo) {
    for (const bool isWaitable : {false, true}) {
        Task first;
        Task second;
        CThread thread(true);
        ASSERT_TRUE(Start(thread, first, isWaitable));
        if (isWaitable) {
            first.Gate.Set();
        }
        ASSERT_TRUE(Start(thread, second, true));
        EXPECT_EQ(first.IsUnwound.Wait(kWaitInfinite), kWaitSignaled);
        EXPECT_EQ(first.IsFinished, isWaitable);
        second.Gate.Set();
        EXPECT_TRUE(thread.WaitForTermination(kWaitInfinite));
    }
    EXPECT_EQ(Cancellations, 1);

    Task forgotten;
    Task next;
    CThread thread;
    ASSERT_TRUE(Start(thread, forgotten, false));
    ASSERT_TRUE(Start(thread, next, true));
    EXPECT_FALSE(forgotten.IsUnwound.IsSet());
    forgotten.Gate.Set();
    EXPECT_EQ(forgotten.IsUnwound.Wait(kWaitInfinite), kWaitSignaled);
    next.Gate.Set();
    EXPECT_TRUE(thread.WaitForTermination(kWaitInfinite));
}

TEST_F(Thread, CarriesAPriorityButInheritsTheSchedulingOfItsCreator) {
    CThread thread;
    int policy = -1;
    const auto function = [](void* result) -> void* {
        sched_param parameter{};
        pthread_getschedparam(pthread_self(), static_cast<int*>(result), &parameter);
        return nullptr;
    };
    ASSERT_TRUE(thread.Start(function, &policy, 63, true, 4096, 1, true));
    EXPECT_TRUE(thread.WaitForTermination(kWaitInfinite));
    EXPECT_EQ(policy, sched_getscheduler(0));
}

TEST_F(Thread, AFailedStartLeavesTheThreadBeforeToItsObject) {
    Task task;
    CThread thread;
    ASSERT_TRUE(Start(thread, task, true));
    const pthread_t before = thread.Id();
    EXPECT_FALSE(thread.Start(RunTask, &task, 1000, false, 0, 0, false));
    EXPECT_EQ(thread.Id(), before);
    task.Gate.Set();
    EXPECT_TRUE(thread.WaitForTermination(kWaitInfinite));
}

}  // namespace

int __wrap_pthread_cancel(pthread_t thread) {
    ++Cancellations;
    return __real_pthread_cancel(thread);
}

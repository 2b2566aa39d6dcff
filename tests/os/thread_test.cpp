// Threads, and the processor query, which is one function.
#include "os/thread.h"

#include <cpuid.h>
#include <sched.h>

#include <array>
#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "os/cpu_identification.h"
#include "os/event.h"

extern "C" decltype(pthread_cancel) __real_pthread_cancel, __wrap_pthread_cancel;

namespace {

std::atomic<int> cancellations{0};

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

// Both join, whatever the time-out; neither cancels.
TEST(Thread, WaitingAndKillingLetAWaitableThreadRunToItsEnd) {
    for (const unsigned int timeoutMs : {kWaitInfinite, 0U}) {
        for (const bool isKill : {false, true}) {
            Task task;
            CThread thread;
            EXPECT_TRUE(thread.WaitForTermination(timeoutMs)) << "there is none";
            EXPECT_FALSE(thread.Kill(timeoutMs));
            ASSERT_TRUE(Start(thread, task, true));
            const pthread_t id = thread.Id();
            EXPECT_FALSE(thread.Start(RunTask, &task, 1000, false, 0, 0, false));
            EXPECT_EQ(thread.Id(), id) << "a failed start leaves the thread before";
            std::thread opener([&task] { task.Gate.Set(); });
            EXPECT_TRUE(isKill ? thread.Kill(timeoutMs) : thread.WaitForTermination(timeoutMs));
            EXPECT_TRUE(task.IsFinished);
            EXPECT_EQ(thread.Id(), 0U);
            opener.join();
        }
    }
    EXPECT_EQ(cancellations, 0);
}

// A thread's own objects are destroyed after its function has returned.
CEvent HasReturned(false, true, nullptr);
struct AtThreadExit {
    ~AtThreadExit() { HasReturned.Set(); }
    int Policy = -1;
};
thread_local AtThreadExit Exit;

// The priority is carried, but the scheduling is the creator's.
TEST(Thread, ADetachedThreadThatHasEndedCountsAsKilledAndIsNotTouched) {
    CThread thread;
    const int before = cancellations;
    int policy = -1;
    const auto function = [](void* result) -> void* {
        sched_param parameter{};
        pthread_getschedparam(pthread_self(), &Exit.Policy, &parameter);
        *static_cast<int*>(result) = Exit.Policy;
        return nullptr;
    };
    ASSERT_TRUE(thread.Start(function, &policy, 63, true, 4096, 1, false));
    ASSERT_EQ(HasReturned.Wait(kWaitInfinite), kWaitSignaled);
    EXPECT_TRUE(thread.Kill(0));
    EXPECT_EQ(cancellations, before);
    EXPECT_EQ(thread.Id(), 0U);
    EXPECT_EQ(policy, sched_getscheduler(0));
}

TEST(Thread, StartAndKillCancelADetachedThreadAndItsWaitUnwinds) {
    const struct {
        bool KillsAlive, IsWaitable;
        int Cancellations;
    } rows[] = {{true, false, 1}, {true, true, 0}, {false, false, 0}};
    for (const auto& row : rows) {
        cancellations = 0;
        Task first;
        Task second;
        CThread thread(row.KillsAlive);
        ASSERT_TRUE(Start(thread, first, row.IsWaitable));
        if (row.IsWaitable) {
            first.Gate.Set();
        }
        ASSERT_TRUE(Start(thread, second, false));
        if (!row.KillsAlive) {
            EXPECT_FALSE(first.IsUnwound.IsSet()) << "forgotten, but running";
            first.Gate.Set();
        }
        EXPECT_EQ(first.IsUnwound.Wait(kWaitInfinite), kWaitSignaled);
        EXPECT_EQ(first.IsFinished, row.Cancellations == 0);
        EXPECT_FALSE(thread.WaitForTermination(0)) << "it is detached";
        EXPECT_TRUE(thread.Kill(0));
        EXPECT_FALSE(thread.Kill(0));
        EXPECT_EQ(second.IsUnwound.Wait(kWaitInfinite), kWaitSignaled);
        EXPECT_FALSE(second.IsFinished);
        EXPECT_EQ(cancellations, row.Cancellations + 1);
    }
}

TEST(CpuIdentification, ReadsTheLeavesThatTheProcessorHasAndClearsTheOthers) {
    for (const unsigned int range : {0U, 0x80000000U}) {
        const unsigned int highest = __get_cpuid_max(range, nullptr);
        for (const unsigned int leaf : {range, range + 2, highest + 1, range + 0x7FFFFFFFU}) {
            std::array<unsigned int, 4> found{leaf, 1, 2, 3};
            std::array<unsigned int, 4> wanted{};
            const int isThere =
                __get_cpuid_count(leaf, 0, &wanted[0], &wanted[1], &wanted[2], &wanted[3]);
            EXPECT_EQ(cpuRawRead(&found[0], &found[1], &found[2], &found[3]), isThere) << leaf;
            EXPECT_EQ(found, wanted) << leaf;
        }
    }
}

}  // namespace

int __wrap_pthread_cancel(pthread_t thread) {
    ++cancellations;
    return __real_pthread_cancel(thread);
}

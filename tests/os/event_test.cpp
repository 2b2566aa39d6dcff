#include "os/event.h"

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/os/system_calls.h"

namespace {

using system_calls::Await;

// Made before main and destroyed after it, on a name of its own.
CEvent StaticEvent(true, true, "static");

class Event : public testing::Test {
protected:
    void SetUp() override {
        system_calls::ConditionWaits = 0;
        system_calls::Sleeps = 0;
    }
};

// Threads that are asleep in Wait of one handle once the constructor returns.
class CWaiters {
public:
    CWaiters(CEvent& event, int count, unsigned int timeoutMs = kWaitInfinite) {
        const int before = system_calls::ConditionWaits;
        for (int i = 0; i < count; ++i) {
            m_Threads.emplace_back([this, &event, timeoutMs] {
                m_IsEveryoneSignaled =
                    event.Wait(timeoutMs) == kWaitSignaled && m_IsEveryoneSignaled;
                ++m_Returned;
                m_Returned.notify_all();
            });
        }
        Await(system_calls::ConditionWaits, before + count);
    }
    ~CWaiters() { Join(); }
    void AwaitReturned(int count) { Await(m_Returned, count); }
    bool AreAllSignaled() {
        Join();
        return m_IsEveryoneSignaled;
    }

private:
    void Join() {
        for (std::thread& thread : m_Threads) {
            thread.join();
        }
        m_Threads.clear();
    }

    std::atomic<int> m_Returned{0};
    std::atomic<bool> m_IsEveryoneSignaled{true};
    std::vector<std::thread> m_Threads;
};

TEST_F(Event, KeepsOneSignalForAnAutomaticWaitAndEverySignalForAManualOne) {
    CEvent automatic(false, false, nullptr);
    EXPECT_EQ(automatic.Wait(0), kWaitTimeout);
    EXPECT_TRUE(automatic.Set());
    EXPECT_TRUE(automatic.Set());
    EXPECT_EQ(automatic.Wait(0), kWaitSignaled);
    EXPECT_EQ(automatic.Wait(0), kWaitTimeout);

    CEvent manual(true, true, nullptr);
    EXPECT_EQ(manual.Wait(0), kWaitSignaled);
    EXPECT_EQ(manual.Wait(kWaitInfinite), kWaitSignaled);
    EXPECT_TRUE(manual.IsSet());
    EXPECT_TRUE(manual.Reset());
    EXPECT_FALSE(manual.IsSet());
    EXPECT_EQ(manual.Wait(0), kWaitTimeout);
}

TEST_F(Event, SetReleasesAllWaitersOfAManualEvent) {
    CEvent event(false, true, nullptr);
    CWaiters waiters(event, 3);
    EXPECT_TRUE(event.Set());
    EXPECT_TRUE(waiters.AreAllSignaled());
    EXPECT_TRUE(event.IsSet());
}

TEST_F(Event, SetReleasesOneWaiterOfAnAutomaticEvent) {
    CEvent event(false, false, nullptr);
    CWaiters waiters(event, 2);
    EXPECT_TRUE(event.Set());
    waiters.AwaitReturned(1);
    EXPECT_TRUE(event.Set());
    EXPECT_TRUE(waiters.AreAllSignaled());
    EXPECT_FALSE(event.IsSet());  // the second signal found a waiter, too
}

TEST_F(Event, PulseCountsAsSuccessAndLeavesTheEventReset) {
    for (const bool isManual : {true, false}) {
        CEvent event(true, isManual, nullptr);
        EXPECT_TRUE(event.Pulse());
        EXPECT_FALSE(event.IsSet());  // nobody waited: nothing is kept
        CWaiters waiters(event, isManual ? 3 : 1);
        EXPECT_TRUE(event.Pulse());
        EXPECT_TRUE(waiters.AreAllSignaled());
        EXPECT_EQ(event.Wait(0), kWaitTimeout);
    }
}

TEST_F(Event, CloseWakesEveryWaiterAndFailsFurtherCallsOfThatHandleOnly) {
    for (const bool isManual : {true, false}) {
        CEvent closed(false, isManual, "closed");
        CEvent open(false, isManual, "closed");
        CWaiters here(closed, 2);
        CWaiters there(open, 2);
        EXPECT_TRUE(closed.Close());
        EXPECT_TRUE(here.AreAllSignaled());
        EXPECT_TRUE(there.AreAllSignaled());
        EXPECT_FALSE(closed.IsOpen());
        EXPECT_FALSE(closed.Set());
        EXPECT_FALSE(closed.Pulse());
        EXPECT_FALSE(closed.Reset());
        EXPECT_FALSE(closed.IsSet());
        EXPECT_FALSE(closed.Create(false, isManual, nullptr));
        EXPECT_FALSE(closed.Close());
        EXPECT_EQ(closed.Wait(kWaitInfinite), kWaitError);
        EXPECT_TRUE(open.IsOpen());
        EXPECT_EQ(open.IsSet(), isManual);  // waits took the signal of the automatic event
    }
    CEvent alone(false, false, "alone");
    EXPECT_TRUE(alone.Close());
    alone = StaticEvent;
    EXPECT_TRUE(alone.IsOpen());
}

TEST_F(Event, IsSharedByNameWhileAHandleIsOpen) {
    {
        std::string name = "shared";
        CEvent first(false, true, name.c_str());
        name[0] = 'S';  // the name is copied
        CEvent other(true, true, name.c_str());
        CEvent second(true, false, "shared");  // neither its state nor its mode counts
        EXPECT_FALSE(second.IsSet());
        CWaiters waiters(second, 1);
        EXPECT_TRUE(first.Set());
        EXPECT_TRUE(waiters.AreAllSignaled());
        EXPECT_EQ(second.Wait(0), kWaitSignaled);  // still manual
        EXPECT_TRUE(other.Reset());
        EXPECT_TRUE(second.IsSet());
        EXPECT_TRUE(CEvent(false, true, "shared").IsSet());
        EXPECT_TRUE(
            CEvent(false, true, "shared").IsSet());  // the passing handle took nothing along
    }
    CEvent fresh(false, false, "shared");
    EXPECT_FALSE(fresh.IsSet());
    CEvent anonymous(true, false, nullptr);
    EXPECT_FALSE(fresh.IsSet());
    EXPECT_TRUE(CEvent(false, true, "static").IsSet());
}

TEST_F(Event, AssignmentSharesTheOtherEventAndDoesNotReleaseItsOwn) {
    CEvent target(true, true, "kept");
    {
        CEvent source(false, true, "source");
        EXPECT_TRUE(target.Close());
        target = source;
        EXPECT_TRUE(target.IsOpen());
        EXPECT_TRUE(source.Set());
        EXPECT_TRUE(target.IsSet());
    }
    EXPECT_TRUE(CEvent(false, true, "source").IsSet());  // target still holds it
    EXPECT_TRUE(CEvent(false, true, "kept").IsSet());    // and its old one has no owner but lives

    {
        CEvent self(true, true, "self");
        const CEvent& alias = self;
        EXPECT_TRUE(self.Close());
        self = alias;
        EXPECT_FALSE(self.IsOpen());
    }
    EXPECT_FALSE(CEvent(false, true, "self").IsSet());  // released with its one handle
}

TEST_F(Event, CreateChangesTheEventUnlessSomeoneWaits) {
    CEvent event(false, true, nullptr);
    EXPECT_TRUE(event.Create(true, false, "ignored"));
    EXPECT_EQ(event.Wait(0), kWaitSignaled);
    EXPECT_EQ(event.Wait(0), kWaitTimeout);
    EXPECT_TRUE(event.Create(false, false, nullptr));
    CWaiters waiters(event, 1);
    EXPECT_FALSE(event.Create(false, false, nullptr));
    EXPECT_TRUE(event.Set());
}

TEST_F(Event, ComputesTheDeadlineOnTheMonotonicClock) {
    CEvent event(false, true, nullptr);
    const auto now = [] {
        timespec time{};
        clock_gettime(CLOCK_MONOTONIC, &time);
        return time.tv_sec * 1'000'000'000LL + time.tv_nsec;
    };
    system_calls::TimesOutAtOnce = true;
    for (const unsigned int timeoutMs : {0U, 1U, 500U, 999U, 1000U, 1999U, kWaitInfinite - 1}) {
        const long long earliest = now() + timeoutMs * 1'000'000LL;
        EXPECT_EQ(event.Wait(timeoutMs), kWaitTimeout);
        const long long latest = now() + timeoutMs * 1'000'000LL;
        const timespec deadline = system_calls::LastDeadline;
        EXPECT_LT(deadline.tv_nsec, 1'000'000'000);
        const long long given = deadline.tv_sec * 1'000'000'000LL + deadline.tv_nsec;
        EXPECT_LE(earliest, given) << timeoutMs;
        EXPECT_GE(latest, given) << timeoutMs;
    }
    system_calls::TimesOutAtOnce = false;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(event.Wait(30), kWaitTimeout);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
}

TEST_F(Event, WaitsOnAfterAnInterruption) {
    CEvent event(false, true, nullptr);
    for (const unsigned int timeoutMs : {kWaitInfinite, 600'000U}) {
        system_calls::InterruptedWaits = 2;
        CWaiters waiters(event, 1, timeoutMs);
        EXPECT_EQ(system_calls::InterruptedWaits, 0);
        EXPECT_TRUE(event.Pulse());
        EXPECT_TRUE(waiters.AreAllSignaled());
    }
}

// A thread in a wait that only a cancellation ends.
pthread_t StartEndlessWait(CEvent& event, unsigned int timeoutMs) {
    struct Argument {
        CEvent& Event;
        unsigned int TimeoutMs;
    };
    pthread_t thread{};
    const auto wait = [](void* argument) -> void* {
        const std::unique_ptr<Argument> own(static_cast<Argument*>(argument));
        own->Event.Wait(own->TimeoutMs);
        return nullptr;
    };
    const int before = system_calls::ConditionWaits;
    auto argument = std::make_unique<Argument>(Argument{event, timeoutMs});
    EXPECT_EQ(pthread_create(&thread, nullptr, wait, argument.release()), 0);
    Await(system_calls::ConditionWaits, before + 1);
    return thread;
}

void CancelAndJoin(pthread_t thread) {
    pthread_cancel(thread);
    void* result = nullptr;
    pthread_join(thread, &result);
    EXPECT_EQ(result, PTHREAD_CANCELED);
}

TEST_F(Event, ACancelledWaiterLeavesCountAndMutexRight) {
    for (const unsigned int timeoutMs : {kWaitInfinite, 600'000U}) {
        CEvent event(false, false, nullptr);
        CancelAndJoin(StartEndlessWait(event, timeoutMs));
        EXPECT_TRUE(event.Create(false, true, nullptr));  // nobody is counted any more
        EXPECT_TRUE(event.Set());
        EXPECT_EQ(event.Wait(0), kWaitSignaled);
    }
    EXPECT_EQ(system_calls::Sleeps, 0);  // no destruction had to wait
}

TEST_F(Event, DestructionBlocksInStepsOfASecondUntilTheWaiterHasLeft) {
    auto event = std::make_unique<CEvent>(false, true, "destroyed");
    const pthread_t waiter = StartEndlessWait(*event, kWaitInfinite);
    std::atomic<bool> isDestroyed{false};
    std::thread destroyer([&] {
        event.reset();
        isDestroyed = true;
    });
    Await(system_calls::Sleeps, 3);
    EXPECT_EQ(system_calls::LastSleepSeconds, 1);
    EXPECT_FALSE(isDestroyed);
    CEvent namesake(true, true, "destroyed");  // the name is free already, and no lock is held
    EXPECT_TRUE(namesake.IsSet());
    CancelAndJoin(waiter);
    destroyer.join();
    EXPECT_TRUE(isDestroyed);
}

TEST_F(Event, MayBeMadeUsedAndDestroyedInManyThreadsAtOnce) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 500;
    CEvent stop(false, true, nullptr);
    CEvent handle(false, false, nullptr);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, isManual = i % 2 == 0] {
            for (int round = 0; round < kRounds; ++round) {
                CEvent shared(false, isManual, "crowd");
                CEvent own(false, true, std::to_string(round).c_str());
                shared.Set();
                shared.Wait(0);
                shared.Create(round % 2 == 0, isManual, nullptr);
                own.IsSet();
                handle.Pulse();
                handle.Reset();
                handle.IsSet();
            }
            stop.Set();
        });
    }
    EXPECT_EQ(stop.Wait(kWaitInfinite), kWaitSignaled);
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_FALSE(CEvent(false, true, "crowd").IsSet());  // the last one took the name along
}

}  // namespace

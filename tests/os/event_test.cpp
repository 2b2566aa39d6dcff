#include "os/event.h"

#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <cerrno>
#include <ctime>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

// The linker hands these calls over, since a test must know their moment.
extern "C" {
int __real_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex);
int __real_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  const timespec* deadline);
int __wrap_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex);
int __wrap_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  const timespec* deadline);
int __wrap_nanosleep(const timespec* request, timespec* remaining);
}

namespace {

// Threads that have gone to sleep in a condition wait so far. Counted under the waited mutex: who
// sees the count and then takes that mutex finds the thread asleep.
std::atomic<int> sleepers{0};
// Calls of nanosleep, which only yields; those for anything but a second do not count.
std::atomic<int> naps{0};
// While set, waits with a deadline are interrupted once and then time out; the deadline is kept.
bool timesOutAtOnce = false;
int interruptions = 0;
timespec lastDeadline{};

void Count(std::atomic<int>& counter) {
    ++counter;
    counter.notify_all();
}

void Await(const std::atomic<int>& counter, int value) {
    for (int seen = counter; seen < value; seen = counter) {
        counter.wait(seen);
    }
}

// Made before main and destroyed after it.
CEvent StaticEvent(true, true, "static");

// Threads that are asleep in Wait of one handle once the constructor returns.
class CWaiters {
public:
    CWaiters(CEvent& event, int count, unsigned int timeoutMs = kWaitInfinite) {
        const int before = sleepers;
        for (int i = 0; i < count; ++i) {
            m_Threads.emplace_back([this, &event, timeoutMs] {
                if (event.Wait(timeoutMs) == kWaitSignaled) {
                    Count(m_Signaled);
                }
            });
        }
        Await(sleepers, before + count);
    }
    ~CWaiters() { (void)Join(); }
    void AwaitSignaled(int count) { Await(m_Signaled, count); }
    // How many were signalled, once all have ended.
    int Join() {
        for (std::thread& thread : m_Threads) {
            thread.join();
        }
        m_Threads.clear();
        return m_Signaled;
    }
    int CancelAndJoin() {
        for (std::thread& thread : m_Threads) {
            pthread_cancel(thread.native_handle());
        }
        return Join();
    }

private:
    std::atomic<int> m_Signaled{0};
    std::vector<std::thread> m_Threads;
};

TEST(Event, AnAutomaticWaitTakesTheSignalAndAManualOneLeavesIt) {
    CEvent automatic(false, false, nullptr);
    EXPECT_EQ(automatic.Wait(0), kWaitTimeout);
    EXPECT_TRUE(automatic.Set());
    EXPECT_TRUE(automatic.Set());
    EXPECT_EQ(automatic.Wait(kWaitInfinite), kWaitSignaled);
    EXPECT_EQ(automatic.Wait(0), kWaitTimeout);
    CEvent manual(true, true, nullptr);
    EXPECT_EQ(manual.Wait(0), kWaitSignaled);
    EXPECT_TRUE(manual.IsSet());
    EXPECT_TRUE(manual.Reset());
    EXPECT_EQ(manual.Wait(0), kWaitTimeout);
}

TEST(Event, SetAndPulseReleaseEveryWaiterOfAManualEventAndOneOfAnAutomatic) {
    for (const bool isManual : {true, false}) {
        for (const bool isPulse : {true, false}) {
            const auto release = isPulse ? &CEvent::Pulse : &CEvent::Set;
            CEvent event(isPulse, isManual, nullptr);
            EXPECT_EQ((event.*release)(), true);
            EXPECT_EQ(event.IsSet(), !isPulse) << "a pulse that nobody waits for is lost";
            EXPECT_TRUE(event.Reset());
            CWaiters waiters(event, 3);
            for (int released = 0; released < 3;) {
                EXPECT_TRUE((event.*release)());
                released += isManual ? 3 : 1;
                waiters.AwaitSignaled(released);
            }
            EXPECT_EQ(waiters.Join(), 3);
            EXPECT_EQ(event.IsSet(), isManual && !isPulse) << "every signal found its waiter";
        }
    }
}

TEST(Event, CloseReleasesTheWaitersOfEveryHandleAndFailsItsOwnOnly) {
    for (const bool isManual : {true, false}) {
        CEvent closed(false, isManual, "closed");
        CEvent open(false, isManual, "closed");
        CWaiters here(closed, 2);
        CWaiters there(open, 2);
        EXPECT_TRUE(closed.Close());
        EXPECT_EQ(here.Join() + there.Join(), 4);
        EXPECT_FALSE(closed.IsOpen() || closed.Set() || closed.Pulse() || closed.Reset() ||
                     closed.IsSet() || closed.Create(false, isManual, nullptr) || closed.Close());
        EXPECT_EQ(closed.Wait(kWaitInfinite), kWaitError);
        EXPECT_TRUE(open.IsOpen());
        EXPECT_EQ(open.IsSet(), isManual);  // waits took the signal of the automatic event
    }
}

TEST(Event, IsSharedByNameWhileAHandleIsOpen) {
    {
        std::string name = "shared";
        CEvent first(false, true, name.c_str());
        name[0] = 'S';  // the name is copied
        const CEvent other(true, true, name.c_str());
        CEvent second(true, false, "shared");  // neither its state nor its mode counts
        EXPECT_FALSE(second.IsSet());
        EXPECT_TRUE(first.Set());
        EXPECT_EQ(second.Wait(0), kWaitSignaled);
        EXPECT_TRUE(CEvent(false, true, "shared").IsSet());
        EXPECT_TRUE(second.IsSet()) << "a passing handle takes nothing along";
    }
    EXPECT_FALSE(CEvent(false, false, "shared").IsSet());
    EXPECT_TRUE(CEvent(false, true, "static").IsSet());
}

TEST(Event, AssignmentSharesTheOtherEventAndDoesNotReleaseItsOwn) {
    CEvent target(true, true, "kept");
    {
        CEvent source(false, true, "source");
        EXPECT_TRUE(target.Close());
        target = source;
        EXPECT_TRUE(source.Set());
        EXPECT_TRUE(target.IsSet()) << "and is open again";
    }
    EXPECT_TRUE(CEvent(false, true, "source").IsSet());
    EXPECT_TRUE(CEvent(false, true, "kept").IsSet()) << "without an owner, but alive";
    {
        CEvent self(true, true, "self");
        const CEvent& alias = self;
        EXPECT_TRUE(self.Close());
        self = alias;
        EXPECT_FALSE(self.IsOpen());
    }
    EXPECT_FALSE(CEvent(false, true, "self").IsSet());
}

TEST(Event, CreateChangesTheEventUnlessSomeoneWaits) {
    CEvent event(false, true, nullptr);
    EXPECT_TRUE(event.Create(true, false, "ignored"));
    EXPECT_EQ(event.Wait(0), kWaitSignaled);
    EXPECT_EQ(event.Wait(0), kWaitTimeout);
    CWaiters waiters(event, 1);
    EXPECT_FALSE(event.Create(false, false, nullptr));
    EXPECT_TRUE(event.Set());
}

TEST(Event, WaitsUntilItsDeadlineOnTheMonotonicClockAlsoWhenInterrupted) {
    CEvent event(false, true, nullptr);
    const auto nanoseconds = [](const timespec& time) {
        return time.tv_sec * 1'000'000'000LL + time.tv_nsec;
    };
    const auto now = [&] {
        timespec time{};
        clock_gettime(CLOCK_MONOTONIC, &time);
        return nanoseconds(time);
    };
    timesOutAtOnce = true;
    for (const unsigned int timeoutMs : {0U, 1U, 999U, 1000U, 1999U, kWaitInfinite - 1}) {
        interruptions = 1;
        const long long earliest = now() + timeoutMs * 1'000'000LL;
        EXPECT_EQ(event.Wait(timeoutMs), kWaitTimeout);
        EXPECT_GE(now() + timeoutMs * 1'000'000LL, nanoseconds(lastDeadline)) << timeoutMs;
        EXPECT_LE(earliest, nanoseconds(lastDeadline)) << timeoutMs;
        EXPECT_LT(lastDeadline.tv_nsec, 1'000'000'000);
    }
    timesOutAtOnce = false;
    const long long start = now();
    EXPECT_EQ(event.Wait(30), kWaitTimeout);
    EXPECT_GE(now() - start, 30'000'000);
}

TEST(Event, ACancelledWaiterLeavesCountAndMutexRight) {
    for (const unsigned int timeoutMs : {kWaitInfinite, 600'000U}) {
        CEvent event(false, false, nullptr);
        EXPECT_EQ(CWaiters(event, 1, timeoutMs).CancelAndJoin(), 0);
        EXPECT_TRUE(event.Create(false, true, nullptr)) << "nobody is counted any more";
        EXPECT_TRUE(event.Set());
        EXPECT_EQ(event.Wait(0), kWaitSignaled);
    }
}

TEST(Event, DestructionBlocksInStepsOfASecondUntilTheWaiterHasLeft) {
    auto event = std::make_unique<CEvent>(false, true, "destroyed");
    CWaiters waiter(*event, 1);
    std::atomic<bool> isDestroyed{false};
    std::thread destroyer([&] {
        event.reset();
        isDestroyed = true;
    });
    Await(naps, naps + 3);
    EXPECT_FALSE(isDestroyed);
    EXPECT_TRUE(CEvent(true, true, "destroyed").IsSet()) << "the name is free, no lock is held";
    EXPECT_EQ(waiter.CancelAndJoin(), 0);
    destroyer.join();
}

TEST(Event, MayBeMadeUsedAndDestroyedInManyThreadsAtOnce) {
    CEvent stop(false, true, nullptr);
    CEvent handle(false, false, nullptr);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, isManual = i % 2 == 0] {
            for (int round = 0; round < 500; ++round) {
                CEvent shared(false, isManual, "crowd");
                const CEvent own(false, true, std::to_string(round).c_str());
                shared.Set();
                shared.Wait(0);
                shared.Create(round % 2 == 0, isManual, nullptr);
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
    EXPECT_FALSE(CEvent(false, true, "crowd").IsSet()) << "the last one takes the name along";
}

}  // namespace

int __wrap_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    Count(sleepers);
    return __real_pthread_cond_wait(condition, mutex);
}

int __wrap_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  const timespec* deadline) {
    if (timesOutAtOnce) {
        lastDeadline = *deadline;
        return interruptions-- > 0 ? EINTR : ETIMEDOUT;
    }
    Count(sleepers);
    return __real_pthread_cond_timedwait(condition, mutex, deadline);
}

int __wrap_nanosleep(const timespec* request, timespec* /*remaining*/) {
    if (request->tv_sec == 1 && request->tv_nsec == 0) {
        Count(naps);
    }
    return sched_yield();
}

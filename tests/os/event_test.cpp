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
extern "C" decltype(pthread_cond_wait) __real_pthread_cond_wait, __wrap_pthread_cond_wait;
extern "C" decltype(pthread_cond_timedwait) __real_pthread_cond_timedwait,
    __wrap_pthread_cond_timedwait;
extern "C" decltype(nanosleep) __wrap_nanosleep;

namespace {

// Threads that have gone to sleep in a condition wait so far. Counted under the waited mutex: who
// sees the count and then takes that mutex finds the thread asleep.
std::atomic<int> sleepers{0};
std::atomic<int> naps{0};  // calls of nanosleep for one second, which only yield
// While set, waits with a deadline are interrupted once and then time out; the deadline is kept.
bool timesOutAtOnce = false;
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
    int Join(bool isCancelled = false) {
        for (std::thread& thread : m_Threads) {
            if (isCancelled) {
                pthread_cancel(thread.native_handle());
            }
            thread.join();
        }
        m_Threads.clear();
        return m_Signaled;
    }

private:
    std::atomic<int> m_Signaled{0};
    std::vector<std::thread> m_Threads;
};

TEST(Event, SetAndPulseReleaseEveryWaiterOfAManualEventAndOneOfAnAutomatic) {
    for (const bool isManual : {true, false}) {
        for (const bool isPulse : {true, false}) {
            const auto release = isPulse ? &CEvent::Pulse : &CEvent::Set;
            CEvent event(isPulse, isManual, nullptr);
            EXPECT_TRUE((event.*release)());
            EXPECT_EQ(event.IsSet(), !isPulse) << "a pulse that nobody waits for is lost";
            EXPECT_EQ(event.Wait(0), isPulse ? kWaitTimeout : kWaitSignaled);
            EXPECT_EQ(event.IsSet(), isManual && !isPulse) << "an automatic wait takes the signal";
            EXPECT_TRUE(event.Reset());
            CWaiters waiters(event, 3);
            for (int released = 0; released < 3; waiters.AwaitSignaled(released)) {
                EXPECT_TRUE((event.*release)());
                released += isManual ? 3 : 1;
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

TEST(Event, IsSharedByNameAndAssignmentWhileAHandleIsOpen) {
    const auto isSet = [](const char* name) {
        return CEvent(false, true, name).IsSet();
    };
    CEvent target(true, true, "kept");
    {
        std::string name = "shared";
        CEvent first(false, true, name.c_str());
        name[0] = 'S';                         // the name is copied
        CEvent second(true, false, "shared");  // neither its state nor its mode counts
        EXPECT_FALSE(second.IsSet());
        EXPECT_TRUE(first.Set());
        EXPECT_EQ(second.Wait(0), kWaitSignaled);
        EXPECT_TRUE(isSet("shared"));
        EXPECT_TRUE(target.Close());
        target = second;
        EXPECT_TRUE(target.IsOpen());
        CEvent self(true, true, "self");
        const CEvent& alias = self;
        self = alias;
    }
    EXPECT_TRUE(target.IsSet());
    EXPECT_TRUE(isSet("shared")) << "the passing handles took nothing along";
    EXPECT_TRUE(isSet("kept")) << "Deliberate: without an owner, but alive";
    EXPECT_TRUE(isSet("static"));
    EXPECT_FALSE(isSet("self"));
}

TEST(Event, WaitsUntilItsDeadlineOnTheMonotonicClockAlsoWhenInterrupted) {
    CEvent event(false, true, nullptr);
    const auto inMs = [](unsigned int timeoutMs) {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        return now.tv_sec * 1'000'000'000LL + now.tv_nsec + timeoutMs * 1'000'000LL;
    };
    timesOutAtOnce = true;
    for (const unsigned int timeoutMs : {0U, 1U, 999U, 1000U, 1999U, kWaitInfinite - 1}) {
        const long long earliest = inMs(timeoutMs);
        EXPECT_EQ(event.Wait(timeoutMs), kWaitTimeout);
        const long long given = lastDeadline.tv_sec * 1'000'000'000LL + lastDeadline.tv_nsec;
        EXPECT_TRUE(earliest <= given && given <= inMs(timeoutMs)) << timeoutMs;
        EXPECT_LT(lastDeadline.tv_nsec, 1'000'000'000);
    }
    timesOutAtOnce = false;
    const long long end = inMs(30);
    EXPECT_EQ(event.Wait(30), kWaitTimeout);
    EXPECT_GE(inMs(0), end);
}

TEST(Event, CreateChangesTheEventUnlessSomeoneWaitsAndACancelledWaiterIsForgotten) {
    for (const unsigned int timeoutMs : {kWaitInfinite, 600'000U}) {
        CEvent event(false, false, nullptr);
        CWaiters waiters(event, 1, timeoutMs);
        EXPECT_FALSE(event.Create(false, true, nullptr));
        EXPECT_EQ(waiters.Join(true), 0);
        EXPECT_TRUE(event.Create(true, true, "ignored"));
        EXPECT_EQ(event.Wait(0), kWaitSignaled);
        EXPECT_EQ(event.Wait(0), kWaitSignaled) << "manual now";
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
    EXPECT_EQ(waiter.Join(true), 0);
    destroyer.join();
}

TEST(Event, MayBeMadeUsedAndDestroyedInManyThreadsAtOnce) {
    CEvent handle(false, false, nullptr);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&handle, isManual = i % 2 == 0] {
            for (int round = 0; round < 500; ++round) {
                CEvent shared(false, isManual, "crowd");
                shared.Set();
                shared.Wait(0);
                shared.Create(round % 2 == 0, isManual, nullptr);
                handle.Pulse();
                handle.Reset();
                handle.IsSet();
            }
        });
    }
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
    static bool isInterrupted = false;
    if (timesOutAtOnce) {
        lastDeadline = *deadline;
        isInterrupted = !isInterrupted;
        return isInterrupted ? EINTR : ETIMEDOUT;
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

#include <pthread.h>

#include <algorithm>
#include <cerrno>

#include "os/event.h"
#include "os/thread.h"
#include "tests/trace/debug_fixture.h"

// The linker hands these calls over; they fail while a test says so.
extern "C" {
int __real_pthread_condattr_setclock(pthread_condattr_t* attribute, clockid_t clock);
int __real_pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attribute);
int __real_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attribute);
int __wrap_pthread_condattr_setclock(pthread_condattr_t* attribute, clockid_t clock);
int __wrap_pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attribute);
int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attribute);
}

namespace {

bool IsFailing = false;

// What the global trace object writes, at a level of the test's choice.
class SyncTrace : public CDebugTest {
protected:
    static void StartGlobal(unsigned int level) {
        ConfigureRing(level);
        Debug.Init("zentd");
        Debug.SetTarget(kTargetLogFile);
    }
    void TearDown() override {
        Debug.SetTarget(kTargetNone);
        CDebugTest::TearDown();
    }
    // Replaces each hexadecimal number by "@", unless it is 0.
    static void MaskNumbers(std::string& text) {
        for (std::size_t at = text.find("0x"); at != std::string::npos; at = text.find("0x", at)) {
            const std::size_t end =
                std::min(text.find_first_not_of("0123456789abcdefABCDEF", at + 2), text.size());
            if (text.find_first_not_of('0', at + 2) < end) {
                text.replace(at, end - at, "@");
            }
            ++at;
        }
    }
    // The texts from `first` on, with every address and thread replaced by "@".
    static std::vector<std::string> TextsFrom(const std::string& first) {
        std::vector<std::string> texts = Texts(kLogFile);
        texts.erase(texts.begin(), std::find_if(texts.begin(), texts.end(), [&](const auto& text) {
                        return text.starts_with(first);
                    }));
        for (std::string& text : texts) {
            MaskNumbers(text);
        }
        return texts;
    }
};

using Expected = std::vector<std::string>;

TEST_F(SyncTrace, NamesEveryStepOfAnEvent) {
    StartGlobal(5);
    {
        CEvent first(false, true, "one");
        CEvent second(true, false, "one");
        first.Set();
        second.Reset();
        first.Pulse();
        first.Create(true, true, nullptr);
        first.IsSet();
        second.Close();
        CEvent third(false, false, "left");
        third = first;
    }
    EXPECT_EQ(TextsFrom("creating"),
              (Expected{"creating event @ <one> (IsSignaled=0)",
                        "refCount for event @ <one> incremented (IsSignaled=0)",
                        "WARNING: manual setting mismatch for event @ <one>",
                        "Set event @ <one> IsSignaled=0 --> IsSignaled=1",
                        "Reset event @ <one>: IsSignaled=1 --> IsSignaled=0",
                        "Pulse event @ <one> IsSignaled=0 --> IsSignaled=0",
                        "Create event @ <one>, changing attributes (IsSignaled=0,IsManual=1) --> "
                        "(IsSignaled=1,IsManual=1)",
                        "Check event @ <one> (IsSignaled=1)",
                        "Close event @ <one> IsSignaled=1 --> IsSignaled=1",
                        "creating event @ <left> (IsSignaled=0)",
                        "incr refcount on event @ <one> (IsSignaled=1,IsManual=1)",
                        "decr refcount on event @ <one> (IsSignaled=1)",
                        "decr refcount on event @ <one> (IsSignaled=1)",
                        "deleting event @ <one> (IsSignaled=1)"}));
}

TEST_F(SyncTrace, WarnsOfSharingBelowTheDetailLevel) {
    StartGlobal(4);
    CEvent first(false, true, "one");
    CEvent second(true, false, "one");
    second.Set();
    second.Close();
    EXPECT_EQ(TextsFrom("refCount"),
              (Expected{"refCount for event @ <one> incremented (IsSignaled=0)",
                        "WARNING: manual setting mismatch for event @ <one>"}));
}

TEST_F(SyncTrace, NamesWhatTheSystemRefusedAnEvent) {
    StartGlobal(3);
    IsFailing = true;
    CEvent event(true, true, nullptr);
    IsFailing = false;
    EXPECT_EQ(TextsFrom("pthread"),
              (Expected{"pthread_condattr_setclock(): ## ERROR ##: Set CLOCK_MONOTONIC failed "
                        "(ret=22) for event @ <anon> (IsSignaled=1)",
                        "pthread_cond_init(), CLOCK_MONOTONIC: ## ERROR ##: failed (ret=11) on "
                        "event @ <anon> (IsSignaled=1)",
                        "pthread_mutex_init(), CLOCK_MONOTONIC: ## ERROR ##: failed (ret=12) on "
                        "event @ <anon> (IsSignaled=1)"}));
}

TEST_F(SyncTrace, NamesWhatHappensToAThread) {
    StartGlobal(2);  // without the steps of Start
    const auto function = [](void* argument) -> void* {
        static_cast<CEvent*>(argument)->Wait(kWaitInfinite);
        return nullptr;
    };
    // Never destroyed: on a loaded machine the detached thread may first run while the process
    // ends.
    static CEvent& gate = *new CEvent(false, true, "gate");
    CThread thread;
    thread.Kill(0);
    ASSERT_TRUE(thread.Start(function, &gate, 0, false, 0, 0, false));
    EXPECT_FALSE(thread.WaitForTermination(0));
    EXPECT_TRUE(thread.Kill(0));
    gate.Set();
    ASSERT_TRUE(thread.Start(function, &gate, 0, false, 0, 0, true));
    EXPECT_TRUE(thread.WaitForTermination(kWaitInfinite));
    EXPECT_FALSE(thread.Start(function, &gate, 1000, false, 0, 0, true));
    EXPECT_EQ(
        TextsFrom("CThread"),
        (Expected{
            "CThread::Kill: Try to kill the Thread = 0x00000000",
            "CThread::Kill: Thread = 0x000000000 doesn't exist !",
            "CThread::WaitForTermination: WARNING: can't wait for Thread = @ termination with "
            "timeout",
            "CThread::WaitForTermination: WARNING: Can't wait for detached thread @",
            "CThread::Kill: Try to kill the Thread = @",
            "CThread::Kill: Try to kill a non-joinable Thread = @",
            "CThread::Kill: Killing a non-joinable thread @",
            "CThread::Kill: a non-joinable thread @ cancel invoked",
            "CThread::WaitForTermination: a joinable Thread = @ has terminated, pstat=(nil)",
            "pthread_attr_setschedparam failed: error=22 priority=1000"}));
}

}  // namespace

int __wrap_pthread_condattr_setclock(pthread_condattr_t* attribute, clockid_t clock) {
    return IsFailing ? EINVAL : __real_pthread_condattr_setclock(attribute, clock);
}

int __wrap_pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attribute) {
    return IsFailing ? EAGAIN : __real_pthread_cond_init(condition, attribute);
}

int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attribute) {
    return IsFailing ? ENOMEM : __real_pthread_mutex_init(mutex, attribute);
}

// The exact texts that events, threads and profile files trace, at the levels where they appear;
// and the registry in static objects, for which this program has room.
#include <pthread.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <regex>

#include "os/event.h"
#include "os/ini_file.h"
#include "os/profile_string.h"
#include "os/registry.h"
#include "os/thread.h"
#include "tests/os/global_trace.h"

// The linker hands these calls over; they fail while a test says so.
extern "C" decltype(pthread_condattr_setclock) __real_pthread_condattr_setclock,
    __wrap_pthread_condattr_setclock;
extern "C" decltype(pthread_cond_init) __real_pthread_cond_init, __wrap_pthread_cond_init;
extern "C" decltype(pthread_mutex_init) __real_pthread_mutex_init, __wrap_pthread_mutex_init;

namespace {

bool isFailing = false;

using TraceTexts = CGlobalTraceTest;
using Expected = std::vector<std::string>;

// The texts with "@" in place of every address and thread but 0.
Expected Masked(const Expected& texts) {
    static const std::regex number("0x0*[1-9a-fA-F][0-9a-fA-F]*");
    Expected masked;
    for (const std::string& text : texts) {
        masked.push_back(std::regex_replace(text, number, "@"));
    }
    return masked;
}

TEST_F(TraceTexts, OfAnEvent) {
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
    EXPECT_EQ(Masked(TextsSinceStart()),
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

TEST_F(TraceTexts, OfAnEventBelowTheDetailLevel) {
    StartGlobal(3);
    isFailing = true;
    const CEvent first(true, true, "one");
    isFailing = false;
    const CEvent second(true, false, "one");
    EXPECT_EQ(Masked(TextsSinceStart()),
              (Expected{"pthread_condattr_setclock(): ## ERROR ##: Set CLOCK_MONOTONIC failed "
                        "(ret=22) for event @ <one> (IsSignaled=1)",
                        "pthread_cond_init(), CLOCK_MONOTONIC: ## ERROR ##: failed (ret=11) on "
                        "event @ <one> (IsSignaled=1)",
                        "pthread_mutex_init(), CLOCK_MONOTONIC: ## ERROR ##: failed (ret=12) on "
                        "event @ <one> (IsSignaled=1)",
                        "refCount for event @ <one> incremented (IsSignaled=1)",
                        "WARNING: manual setting mismatch for event @ <one>"}));
}

TEST_F(TraceTexts, OfAThread) {
    StartGlobal(2);  // without the steps of Start
    const auto function = [](void* argument) -> void* {
        static_cast<CEvent*>(argument)->Wait(kWaitInfinite);
        return nullptr;
    };
    // Never destroyed: on a loaded machine the detached thread may first run while the process
    // ends.
    static CEvent& gate = *new CEvent(false, true, nullptr);
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
        Masked(TextsSinceStart()),
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

TEST_F(TraceTexts, OfProfileFiles) {
    constexpr char kFile[] = "/tmp/t.ini";
    const std::string write = "WritePrivateProfileString";
    const std::string warning = write + ": ## WARNING: ";
    const Expected everything{
        write + "(s, k, v, /tmp/t.ini)",
        write + " rc=0x0001",
        write + "(s, none, <nil>, /tmp/t.ini)",
        write + " rc=0x0000",
        write + "(s, <nil>, <nil>, /tmp/t.ini)",
        write + " rc=0x0001",
        "GetPrivateProfileString: Cannot open /tmp/fifo",
        warning + "invalid pointer to AppName",
        warning + "invalid pointer to FileName",
        write + "(s, k, v, /tmp/fifo)",
        write + ": Cannot open /tmp/fifo (errno=22: Invalid argument)",
        write + " rc=0x0000",
        write + "(s, k, v, /tmp/none/t.ini)",
        warning + "append open error: /tmp/none/t.ini",
        write + " rc=0x0000",
        warning + "invalid pointer to AppName"};  // Deliberate: Flush has a write's text
    ASSERT_EQ(mkfifo("/tmp/fifo", 0600), 0);
    for (const unsigned int level : {4U, 1U}) {
        StartGlobal(level);
        char buffer[8];
        EXPECT_TRUE(WritePrivateProfileString("s", "k", "v", kFile));
        EXPECT_FALSE(WritePrivateProfileString("s", "none", nullptr, kFile));
        EXPECT_TRUE(WritePrivateProfileString("s", nullptr, nullptr, kFile));
        EXPECT_EQ(GetPrivateProfileString("s", "k", "", buffer, sizeof buffer, "/tmp/fifo"), 0U);
        EXPECT_FALSE(WritePrivateProfileString(nullptr, "k", "v", kFile));
        EXPECT_FALSE(WritePrivateProfileString("s", "k", "v", nullptr));
        EXPECT_FALSE(WritePrivateProfileString("s", "k", "v", "/tmp/fifo"));
        EXPECT_FALSE(WritePrivateProfileString("s", "k", "v", "/tmp/none/t.ini"));
        CIniFile ini;
        ini.Flush();
        ini.Open(kFile, false);
        ini.Flush();
        EXPECT_EQ(TextsSinceStart(), level == 4 ? everything : Expected{everything[13]});
    }
}

// Uses the registry before main and, in its destructor, after it.
struct EarlyUser {
    EarlyUser() : Result(Registry.Open("HKEY_USERS", nullptr, -1)) {}
    ~EarlyUser() {
        if (Registry.SetValue("v", 1U) != 0) {
            std::_Exit(EXIT_FAILURE);
        }
    }
    CRegistry Registry;
    const int Result;
};
const EarlyUser kEarlyUser;

TEST(RegistryStatic, IsReadyBeforeMain) {
    EXPECT_EQ(kEarlyUser.Result, 0);
}

}  // namespace

int __wrap_pthread_condattr_setclock(pthread_condattr_t* attribute, clockid_t clock) noexcept {
    return isFailing ? EINVAL : __real_pthread_condattr_setclock(attribute, clock);
}

int __wrap_pthread_cond_init(pthread_cond_t* condition,
                             const pthread_condattr_t* attribute) noexcept {
    return isFailing ? EAGAIN : __real_pthread_cond_init(condition, attribute);
}

int __wrap_pthread_mutex_init(pthread_mutex_t* mutex,
                              const pthread_mutexattr_t* attribute) noexcept {
    return isFailing ? ENOMEM : __real_pthread_mutex_init(mutex, attribute);
}

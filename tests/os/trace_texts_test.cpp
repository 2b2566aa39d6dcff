// The exact texts that events, threads and profile files trace, at the levels where they appear;
// and the registry in static objects, for which this program has room.
#include <sys/stat.h>

#include <cstdlib>

#include "os/event.h"
#include "os/ini_file.h"
#include "os/process.h"
#include "os/profile_string.h"
#include "os/registry.h"
#include "os/thread.h"
#include "tests/os/global_trace.h"

namespace {

using TraceTexts = CGlobalTraceTest;

TEST_F(TraceTexts, OfAnEvent) {
    const std::string sharing =
        "refCount for event @ <one> incremented (IsSignaled=0)\n"
        "WARNING: manual setting mismatch for event @ <one>\n";
    for (const unsigned int level : {5U, 3U, 2U}) {
        StartGlobal(level);
        {
            CEvent first(false, true, "one");
            CEvent second(true, false, "one");
            first.Set();
            second.Reset();
            first.Pulse();
            first.Create(true, true, nullptr);
            first.IsSet();
            second.Close();
            // The event that a handle leaves by an assignment lives on, so it has a name.
            CEvent third(false, false, ("left" + std::to_string(level)).c_str());
            third = first;
        }
        EXPECT_EQ(Traced(), level == 2   ? sharing.substr(sharing.find("WARNING"))
                            : level == 3 ? sharing
                                         : "creating event @ <one> (IsSignaled=0)\n" + sharing +
                                               R"(Set event @ <one> IsSignaled=0 --> IsSignaled=1
Reset event @ <one>: IsSignaled=1 --> IsSignaled=0
Pulse event @ <one> IsSignaled=0 --> IsSignaled=0
Create event @ <one>, changing attributes (IsSignaled=0,IsManual=1) --> (IsSignaled=1,IsManual=1)
Check event @ <one> (IsSignaled=1)
Close event @ <one> IsSignaled=1 --> IsSignaled=1
creating event @ <left5> (IsSignaled=0)
incr refcount on event @ <one> (IsSignaled=1,IsManual=1)
decr refcount on event @ <one> (IsSignaled=1)
decr refcount on event @ <one> (IsSignaled=1)
deleting event @ <one> (IsSignaled=1)
)");
    }
}

TEST_F(TraceTexts, OfAThread) {
    StartGlobal(2);  // without the steps of Start
    const auto function = [](void* gate) -> void* {
        static_cast<CEvent*>(gate)->Wait(kWaitInfinite);
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
    ASSERT_TRUE(thread.Start(function, &gate, 0, false, 0, 0, true));
    EXPECT_TRUE(thread.Kill(0));
    EXPECT_FALSE(thread.Start(function, &gate, 1000, false, 0, 0, true));
    EXPECT_EQ(Traced(), R"(CThread::Kill: Try to kill the Thread = 0x00000000
CThread::Kill: Thread = 0x000000000 doesn't exist !
CThread::WaitForTermination: WARNING: can't wait for Thread = @ termination with timeout
CThread::WaitForTermination: WARNING: Can't wait for detached thread @
CThread::Kill: Try to kill the Thread = @
CThread::Kill: Try to kill a non-joinable Thread = @
CThread::Kill: Killing a non-joinable thread @
CThread::Kill: a non-joinable thread @ cancel invoked
CThread::WaitForTermination: a joinable Thread = @ has terminated, pstat=(nil)
CThread::Kill: Try to kill the Thread = @
CThread::Kill: Try to join a joinable Thread = @
CThread::Kill: a joinable Thread = @ has terminated, pstat=(nil)
pthread_attr_setschedparam failed: error=22 priority=1000
)");
}

TEST_F(TraceTexts, OfAProcessThatIsNotStarted) {
    for (const unsigned int level : {0U, 1U}) {
        StartGlobal(level);
        unsigned int pid = 0;
        unsigned int exitCode = 0;
        EXPECT_FALSE(CProcess::ExecuteCmd("true", pid, exitCode, "/none", false, false));
        EXPECT_EQ(Traced(), level == 0 ? ""
                                       : "PROCESS             : cannot change to directory "
                                         "\"/none\"\n");
    }
}

TEST_F(TraceTexts, OfProfileFiles) {
    constexpr char kFile[] = "/tmp/t.ini";
    ASSERT_EQ(mkfifo("/tmp/fifo", 0600), 0);
    for (const unsigned int level : {4U, 1U}) {
        StartGlobal(level);
        char buffer[8];
        EXPECT_TRUE(WritePrivateProfileString("s", "k", "v", kFile));
        EXPECT_FALSE(WritePrivateProfileString("s", "none", nullptr, kFile));
        EXPECT_EQ(GetPrivateProfileString("s", "k", "", buffer, sizeof buffer, "/tmp/fifo"), 0U);
        EXPECT_FALSE(WritePrivateProfileString(nullptr, "k", "v", kFile));
        EXPECT_FALSE(WritePrivateProfileString("s", nullptr, "v", nullptr));
        EXPECT_FALSE(WritePrivateProfileString("s", nullptr, "v", "/tmp/fifo"));
        EXPECT_FALSE(WritePrivateProfileString("s", "k", "v", "/tmp/none/t.ini"));
        CIniFile ini;
        ini.Flush();
        ini.Open(kFile, false);
        ini.Flush();  // Deliberate: it has a write's text
        EXPECT_EQ(
            Traced(level == 1 ? "^$" : "append open error"),
            level == 1
                ? "WritePrivateProfileString: ## WARNING: append open error: /tmp/none/t.ini\n"
                : R"(WritePrivateProfileString(s, k, v, /tmp/t.ini)
WritePrivateProfileString rc=0x0001
WritePrivateProfileString(s, none, <nil>, /tmp/t.ini)
WritePrivateProfileString rc=0x0000
GetPrivateProfileString: Cannot open /tmp/fifo
WritePrivateProfileString: ## WARNING: invalid pointer to AppName
WritePrivateProfileString: ## WARNING: invalid pointer to FileName
WritePrivateProfileString(s, <nil>, v, /tmp/fifo)
WritePrivateProfileString: Cannot open /tmp/fifo (errno=22: Invalid argument)
WritePrivateProfileString rc=0x0000
WritePrivateProfileString(s, k, v, /tmp/none/t.ini)
WritePrivateProfileString rc=0x0000
WritePrivateProfileString: ## WARNING: invalid pointer to AppName
)");
    }
}

// Uses the registry before main and, in its destructor, after it.
struct EarlyUser {
    ~EarlyUser() {
        if (Registry.SetValue("v", 1U) != 0) {
            std::_Exit(EXIT_FAILURE);
        }
    }
    CRegistry Registry;
    const int Result = Registry.Open("HKEY_USERS", nullptr, -1);
};
const EarlyUser kEarlyUser;

TEST(RegistryStatic, IsReadyBeforeMain) {
    EXPECT_EQ(kEarlyUser.Result, 0);
}

}  // namespace

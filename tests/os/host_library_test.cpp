// A program with a trace object of its own uses libmorla_host.so.
#include <dlfcn.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "base/str_map.h"
#include "os/cpu_identification.h"
#include "os/event.h"
#include "os/ini_file.h"
#include "os/process.h"
#include "os/profile_string.h"
#include "os/registry.h"
#include "os/semaphore.h"
#include "os/thread.h"
#include "trace/debug.h"
#include "trace/syslog_traces.h"

namespace {

constexpr char kLibrary[] = "libmorla_host.so.4";

// The file that a function of this process comes from.
template <typename Function>
std::string Origin(Function* function) {
    Dl_info info{};
    return dladdr(reinterpret_cast<void*>(function), &info) != 0 ? info.dli_fname : "";
}

TEST(HostLibrary, SharesTheTraceObjectOfTheProgram) {
    void* const library = dlopen(kLibrary, RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(library, nullptr) << dlerror();
    // What the library finds under the name is what this program means by it.
    EXPECT_EQ(dlsym(library, "_ZN8CProcess11FindProcessERjPKc"),
              reinterpret_cast<void*>(&CProcess::FindProcess));
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "Debug"), &Debug);
    EXPECT_FALSE(Debug.IsTracingActive());
    dlclose(library);
}

TEST(HostLibrary, OffersProcesses) {
    EXPECT_NE(Origin(&CProcess::FindProcess).find("libmorla_host.so"), std::string::npos);
    std::string name;
    EXPECT_TRUE(CProcess::GetProcessName(name, static_cast<unsigned int>(getpid())));
    EXPECT_EQ(name, "host_library_te");
    // A failure, which is traced through the program's object.
    EXPECT_FALSE(CProcess::ExecuteCmd("true", "/no/such/directory", false, false));
}

TEST(HostLibrary, OffersLocksAndTables) {
    CStrMap map;
    const CCriticalSectionGuard guard(map);
    map.Insert("b", nullptr, 0);
    map.Insert("a", nullptr, 1);
    EXPECT_STREQ(map.RowAt(0)->Name, "a");
}

TEST(HostLibrary, OffersEventsSemaphoresAndThreads) {
    CEvent event(false, true, "host_library_test");
    CThread thread;
    const auto body = [](void* argument) -> void* {
        static_cast<CEvent*>(argument)->Set();
        return nullptr;
    };
    ASSERT_TRUE(thread.Start(body, &event, 0, false, 0, 0, true));
    EXPECT_EQ(event.Wait(kWaitInfinite, false), kWaitSignaled);
    EXPECT_TRUE(thread.WaitForTermination(kWaitInfinite));
    CSemaphore semaphore;
    ASSERT_TRUE(semaphore.Create(1, 1, nullptr));
    EXPECT_EQ(semaphore.Wait(0), kWaitSignaled);
    EXPECT_TRUE(semaphore.Delete());
}

TEST(HostLibrary, OffersIniFiles) {
    CIniFile ini;
    EXPECT_FALSE(ini.Open("/no/such/file", true));
    char buffer[8]{};
    EXPECT_EQ(GetPrivateProfileString("s", "k", "text", buffer, sizeof buffer, "/no/such/file"),
              4U);
    EXPECT_STREQ(buffer, "text");
}

TEST(HostLibrary, OffersTheRegistry) {
    CRegistry registry;  // nothing changes, so nothing is saved
    EXPECT_EQ(registry.Open("HKEY_USERS", CRegistry::Hive(RegistryHive::LocalMachine), -1), -1);
    CRegistryNode node;
    EXPECT_FALSE(CRegistry::ReadTree("/no/such/file", node));
}

TEST(HostLibrary, OffersTheSystemLog) {
    SysLogTraces* const log = SysLogTraces::getConnection();
    EXPECT_STREQ(log->getProcName(), "host_library_test");
    EXPECT_EQ(SysLogTraces::getConnection(), log);
    log->logMessage(nullptr, kSysLogDebug);  // logs nothing
}

TEST(HostLibrary, OffersTheProcessorQuery) {
    unsigned int registers[4]{};
    EXPECT_EQ(cpuRawRead(&registers[0], &registers[1], &registers[2], &registers[3]), 1);
    EXPECT_GE(registers[0], 1U);  // the highest leaf
}

}  // namespace

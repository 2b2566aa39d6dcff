// A program with a trace object of its own uses libmorla_host.so.
#include <dlfcn.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "os/event.h"
#include "os/process.h"
#include "os/registry.h"
#include "os/thread.h"
#include "trace/debug.h"
#include "trace/syslog_traces.h"

namespace {

TEST(HostLibrary, SharesTheTraceObjectOfTheProgram) {
    void* const library = dlopen("libmorla_host.so.4", RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(library, nullptr) << dlerror();
    // What the library finds under the name is what this program means by it.
    EXPECT_EQ(dlsym(library, "_ZN8CProcess11FindProcessERjPKc"),
              reinterpret_cast<void*>(&CProcess::FindProcess));
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "Debug"), &Debug);
    EXPECT_FALSE(Debug.IsTracingActive());
    dlclose(library);
    EXPECT_STREQ(SysLogTraces::getConnection()->getProcName(), "host_library_test");
}

TEST(HostLibrary, WorksFromOutside) {
    std::string name;
    EXPECT_TRUE(CProcess::GetProcessName(name, static_cast<unsigned int>(getpid())));
    EXPECT_EQ(name, "host_library_te");
    // A failure, which is traced through the program's object.
    EXPECT_FALSE(CProcess::ExecuteCmd("true", "/no/such/directory", false, false));
    CEvent event(false, true, "host_library_test");
    CThread thread;
    const auto body = [](void* argument) -> void* {
        static_cast<CEvent*>(argument)->Set();
        return nullptr;
    };
    ASSERT_TRUE(thread.Start(body, &event, 0, false, 0, 0, true));
    EXPECT_EQ(event.Wait(kWaitInfinite), kWaitSignaled);
    EXPECT_TRUE(thread.WaitForTermination(kWaitInfinite));
    CRegistry registry;  // nothing changes, so nothing is saved
    EXPECT_EQ(registry.Open("HKEY_USERS", CRegistry::Hive(RegistryHive::LocalMachine), -1), -1);
}

}  // namespace

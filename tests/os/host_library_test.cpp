// A program with a trace object of its own uses libmorla_host.so.
#include <dlfcn.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "base/str_map.h"
#include "os/process.h"
#include "trace/debug.h"

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

}  // namespace

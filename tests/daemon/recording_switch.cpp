// A "libswitch.so" for tests. It writes down every call, and misbehaves as the variable
// MORLA_TEST_SWITCH says:
//
//   refuse       SW_QueryInterface hands out the object, but returns false
//   low-byte     ... returns 0x100, whose low byte is false
//   no-object    ... returns true without an object
//   throw-first  ... throws an int behind handing it out
//   fail         LoadModules and UnloadModules return false
//   throw        LoadModules and UnloadModules throw an int
//
// MORLA_TEST_LIBRARIES names libraries, separated by ":", that StartAllModules loads and calls.
#include "tests/daemon/recording_switch.h"

#include <dlfcn.h>
#include <unistd.h>

#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>

#include "base/file_ptr.h"
#include "morla/switch.h"

namespace {

// Not by a stream, whose templates would keep the library from being unloaded.
void Record(const char* format, ...) __attribute__((format(printf, 1, 2)));
void Record(const char* format, ...) {
    const CFilePtr file(std::fopen(kSwitchCallsFile, "ae"));
    va_list args;
    va_start(args, format);
    (void)std::vfprintf(file.get(), format, args);
    va_end(args);
    (void)std::fputc('\n', file.get());
}

bool Is(const char* misbehaviour) {
    const char* const wanted = std::getenv("MORLA_TEST_SWITCH");
    return wanted != nullptr && std::string(wanted) == misbehaviour;
}

// Loads a library as the daemon loads a switch and calls its "CallTrace".
void LoadAndCall(const std::string& path) {
    void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        Record("dlopen: %s", dlerror());
        return;
    }
    reinterpret_cast<void (*)()>(dlsym(library, "CallTrace"))();
    dlclose(library);
}

// The calling thread's signal mask, bit 0 for signal 1; its threads would inherit it.
unsigned int BlockedSignals() {
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    unsigned int bits = 0;
    for (int signal = 1; signal < 32; ++signal) {
        bits |= static_cast<unsigned int>(sigismember(&mask, signal) == 1) << (signal - 1);
    }
    return bits;
}

bool EndOfModules() {
    if (Is("throw")) {
        throw 42;
    }
    return !Is("fail");
}

class CRecordingSwitch : public SwitchInterface {
public:
    ~CRecordingSwitch() override { Record("deleted"); }

    bool LoadModules(const _ExtensionModuleLoaderConfig& config) override {
        Record("LoadModules flags=%u mode=%u", config.Flags, config.RunMode);
        return EndOfModules();
    }
    bool UnloadModules(std::uint32_t reserved) override {
        Record("UnloadModules %u", reserved);
        return EndOfModules();
    }
    void StartAllModules() override {
        Record("StartAllModules blocked=0x%X", BlockedSignals());
        const char* const libraries = std::getenv("MORLA_TEST_LIBRARIES");
        std::istringstream list(libraries != nullptr ? libraries : "");
        for (std::string path; std::getline(list, path, ':');) {
            LoadAndCall(path);
        }
    }
    void StopAllModules() override { Record("StopAllModules"); }
    void Notify(std::uint32_t notice, void* data, int reserved) override {
        if (data == nullptr) {
            Record("Notify 0x%X null %d", notice, reserved);
        } else {
            Record("Notify 0x%X %d %d", notice, *static_cast<std::int32_t*>(data), reserved);
        }
    }
};

// Alive from SW_QueryInterface to SW_Release.
std::unique_ptr<CRecordingSwitch> g_Object;

__attribute__((destructor)) void OnClose() {
    const bool hasPidFile = access("/var/run/zentd.pid", F_OK) == 0;
    const bool hasLock = access("/var/lock/zentd.lock", F_OK) == 0;
    Record("closed pid-file=%d lock=%d", static_cast<int>(hasPidFile), static_cast<int>(hasLock));
}

}  // namespace

extern "C" {

MORLA_EXPORT void SW_AddRef();
MORLA_EXPORT void SW_Release();
MORLA_EXPORT int SW_QueryInterface(std::uint32_t selector, SwitchInterface** object);

void SW_AddRef() {
    Record("SW_AddRef");
}

void SW_Release() {
    Record("SW_Release");
    g_Object.reset();
}

// As a library in C would declare it: with an int, of which the daemon may read one byte only.
int SW_QueryInterface(std::uint32_t selector, SwitchInterface** object) {
    Record("SW_QueryInterface %u", selector);
    if (!Is("no-object")) {
        g_Object = std::make_unique<CRecordingSwitch>();
        *object = g_Object.get();
    }
    if (Is("throw-first")) {
        throw 42;
    }
    if (Is("low-byte")) {
        return 0x100;
    }
    return Is("refuse") ? 0 : 1;
}
}

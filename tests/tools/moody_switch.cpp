// A switch library that misbehaves as the variable MOOD says: "PLACE HOW".
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "morla/switch.h"

extern "C" {
MORLA_EXPORT void SW_AddRef();
MORLA_EXPORT void SW_Release();
MORLA_EXPORT bool SW_QueryInterface(std::uint32_t selector, SwitchInterface** object);
}

namespace {

std::string Mood() {
    const char* const mood = std::getenv("MOOD");
    return mood != nullptr ? mood : "";
}

void Be(const std::string& place) {
    const std::string mood = Mood();
    if (mood == place + " crash") {
        std::abort();
    } else if (mood == place + " hang") {
        // A child that keeps the descriptors, too: nobody may wait for it.
        if (fork() == 0) {
            pause();
        }
        for (;;) {
            pause();
        }
    } else if (mood == place + " exit") {
        std::exit(0);
    } else if (mood == place + " throw") {
        throw 1;
    }
}

struct Switch : SwitchInterface {
    bool LoadModules(const _ExtensionModuleLoaderConfig& /*config*/) override {
        Be("load");
        return Mood() != "load false";
    }
    bool UnloadModules(std::uint32_t /*reserved*/) override { return false; }
    void StartAllModules() override { Be("start"); }
    void StopAllModules() override { Be("stop"); }
    void Notify(std::uint32_t /*notice*/, void* /*data*/, int /*reserved*/) override {
        Be("notify");
    }
};

Switch g_Switch;
void* g_Nothing[32];
void* g_NoObject[1] = {g_Nothing};
const struct Constructor {
    Constructor() { Be("constructor"); }
    ~Constructor() { Be("destructor"); }
} kConstructor;

}  // namespace

void SW_AddRef() {}
void SW_Release() {
    Be("release");
}
bool SW_QueryInterface(std::uint32_t /*selector*/, SwitchInterface** object) {
    Be("query");
    *object = &g_Switch;
    if (Mood() == "object null") {
        *object = nullptr;
    } else if (Mood() == "object nowhere") {
        *object = reinterpret_cast<SwitchInterface*>(std::uintptr_t{8});
    } else if (Mood() == "object empty") {
        *object = reinterpret_cast<SwitchInterface*>(g_NoObject);
    }
    return Mood() != "query false";
}

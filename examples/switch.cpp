// An example switch: carries no modules and says in the trace what the daemon asks of it.
#include "morla/switch.h"

#include <cstdint>

#include "morla/debug.h"

extern "C" {
MORLA_EXPORT void SW_AddRef();
MORLA_EXPORT void SW_Release();
MORLA_EXPORT bool SW_QueryInterface(std::uint32_t selector, SwitchInterface** object);
}

namespace {

class Switch : public SwitchInterface {
public:
    bool LoadModules(const _ExtensionModuleLoaderConfig& config) override {
        Debug.Print(1, "\nEXAMPLE SWITCH      : load, run mode %u", config.RunMode);
        return true;
    }
    bool UnloadModules(std::uint32_t reserved) override {
        Debug.Print(1, "\nEXAMPLE SWITCH      : unload %u", reserved);
        return true;
    }
    void StartAllModules() override { Debug.Print(1, "\nEXAMPLE SWITCH      : start"); }
    void StopAllModules() override { Debug.Print(1, "\nEXAMPLE SWITCH      : stop"); }
    void Notify(std::uint32_t notice, void* data, int reserved) override {
        static_cast<void>(reserved);
        const int runLevel =
            notice == kNotifyOsShutdown ? *static_cast<const std::int32_t*>(data) : -1;
        Debug.Print(1, "\nEXAMPLE SWITCH      : notice 0x%X, run level %d", notice, runLevel);
    }
};

Switch* g_Switch = nullptr;

}  // namespace

void SW_AddRef() {}

void SW_Release() {
    delete g_Switch;
    g_Switch = nullptr;
}

bool SW_QueryInterface(std::uint32_t selector, SwitchInterface** object) {
    if (selector != 0) {
        return false;
    }
    if (g_Switch == nullptr) {
        g_Switch = new Switch;
    }
    *object = g_Switch;
    return true;
}

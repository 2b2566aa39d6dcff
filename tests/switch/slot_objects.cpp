// Objects of an author who knows the SDK's headers only; each operation notes its name.
#include "morla/switch.h"

extern "C" {
MORLA_EXPORT const char* LastCall();
MORLA_EXPORT SwitchInterface* MakeSwitch();
MORLA_EXPORT CDebugTraceConfig* MakeTrace();
}

namespace {

const char* lastCall = "";

class Switch : public SwitchInterface {
public:
    bool LoadModules(const _ExtensionModuleLoaderConfig& config) override {
        lastCall = config.Flags == 1 && config.RunMode == 5 ? "LoadModules" : "wrong config";
        return true;
    }
    bool UnloadModules(std::uint32_t reserved) override {
        lastCall = reserved == 0 ? "UnloadModules" : "wrong argument";
        return true;
    }
    void StartAllModules() override { lastCall = "StartAllModules"; }
    void StopAllModules() override { lastCall = "StopAllModules"; }
    void Reserved6() override { lastCall = "Reserved6"; }
    void Reserved15() override { lastCall = "Reserved15"; }
    void Notify(std::uint32_t notice, void* data, int reserved) override {
        lastCall =
            notice == kNotifyOsShutdown && *static_cast<std::int32_t*>(data) == 6 && reserved == 0
                ? "Notify"
                : "wrong notice";
    }
};

class Trace : public CDebugTraceConfig {
public:
    bool IsMaster() override {
        lastCall = "IsMaster";
        return true;
    }
    bool Init(const char*) override {
        lastCall = "Init";
        return true;
    }
    void Print(unsigned int, const char*, ...) override { lastCall = "Print"; }
    void PrintAlways(const char*, ...) override { lastCall = "PrintAlways"; }
    void PrintAlways(unsigned int, const char*, ...) override { lastCall = "PrintAlways level"; }
    void PrintAlwaysV(const char*, va_list, const char*) override { lastCall = "PrintAlwaysV"; }
    void ClientPrintV(const char*, va_list, const char*) override { lastCall = "ClientPrintV"; }
};

}  // namespace

const char* LastCall() {
    return lastCall;
}

SwitchInterface* MakeSwitch() {
    static Switch object;
    return &object;
}

CDebugTraceConfig* MakeTrace() {
    static Trace object;
    return &object;
}

// Objects of an author who knows the SDK's headers only; each operation notes its name.
#include "morla/switch.h"

extern "C" {
MORLA_EXPORT const char* LastCall();
MORLA_EXPORT SwitchInterface* MakeSwitch();
MORLA_EXPORT CDebugTraceConfig* MakeTrace();
}

namespace {

const char* lastCall = "";

bool Note(const char* operation) {
    lastCall = operation;
    return true;
}

class Switch : public SwitchInterface {
public:
    bool LoadModules(const _ExtensionModuleLoaderConfig& config) override {
        return Note(config.Flags == 1 && config.RunMode == 5 ? "LoadModules" : "wrong config");
    }
    bool UnloadModules(std::uint32_t reserved) override {
        return Note(reserved == 0 ? "UnloadModules" : "wrong argument");
    }
    void StartAllModules() override { Note("StartAllModules"); }
    void StopAllModules() override { Note("StopAllModules"); }
    void Reserved6() override { Note("Reserved6"); }
    void Reserved15() override { Note("Reserved15"); }
    void Notify(std::uint32_t notice, void* data, int reserved) override {
        const bool isRight = notice == kNotifyOsShutdown && reserved == 0;
        Note(isRight && *static_cast<std::int32_t*>(data) == 6 ? "Notify" : "wrong notice");
    }
};

class Trace : public CDebugTraceConfig {
public:
    bool IsMaster() override { return Note("IsMaster"); }
    bool Init(const char*) override { return Note("Init"); }
    void Print(unsigned int, const char*, ...) override { Note("Print"); }
    void PrintAlways(const char*, ...) override { Note("PrintAlways"); }
    void PrintAlways(unsigned int, const char*, ...) override { Note("PrintAlways level"); }
    void PrintAlwaysV(const char*, va_list, const char*) override { Note("PrintAlwaysV"); }
    void ClientPrintV(const char*, va_list, const char*) override { Note("ClientPrintV"); }
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

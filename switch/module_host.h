// One module in the hands of the switch: loaded, initialised, run, stopped, unloaded.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "switch/module_call.h"
#include "switch/module_context.h"
#include "switch/module_library.h"

// How long a module may take.
struct ModuleTimeouts {
    std::chrono::milliseconds Init{30'000};  // to be created, and again for Init
    std::chrono::milliseconds Stop{5'000};   // for a notice, to stop, and again to be destroyed
};

// Every call into the module is a CModuleCall; no exception leaves. A module that overstays its
// time is given up: named in the trace, asked to stop, not called again and never unloaded. One
// thread at a time may use an object of this class.
class CModuleHost {
public:
    CModuleHost(std::string path, const _ExtensionModuleLoaderConfig& config,
                std::shared_ptr<const CSwitchSettings> settings, ModuleTimeouts timeouts);

    // Each traces what failed. After a false the module is there only to be unloaded.
    [[nodiscard]] bool Load();
    [[nodiscard]] bool Init();

    void Start();
    // Notices and stops go to all modules first and are awaited then, so that the slow ones share
    // one deadline.
    void SendNotice(std::uint32_t notice, std::int32_t runLevel);
    void AwaitNotice(Deadline deadline);
    void AskToStop();
    void AwaitStop(Deadline deadline);
    // False when the module was given up, now or before. To be called before the object goes.
    bool Unload();

    // The module's name; the file's before the module has told it.
    [[nodiscard]] const std::string& Name() const { return m_Name; }

private:
    // What calls use; every call's thread holds it, so that a call left to itself can go on.
    struct Parts {
        Parts(const _ExtensionModuleLoaderConfig& config,
              std::shared_ptr<const CSwitchSettings> settings)
            : Context(config, std::move(settings)) {}
        CModuleLibrary Library;
        CModuleContext Context;
        ModuleInterface* Object = nullptr;  // the library's, which also destroys it
        std::string Version;
    };
    [[nodiscard]] static bool Create(Parts& parts);
    // Makes a call and awaits it; false when it failed or was given up.
    [[nodiscard]] bool CallAndAwait(const char* operation, std::chrono::milliseconds timeout,
                                    std::function<bool()> call);
    [[nodiscard]] bool CanBeCalled() const;
    void GiveUp(const char* operation);

    const std::string m_Path;
    const ModuleTimeouts m_Timeouts;
    std::string m_Name;
    const std::shared_ptr<Parts> m_Parts;
    bool m_IsGivenUp = false;
    CModuleCall m_Run;
    CModuleCall m_Notice;
    CModuleCall m_Stop;
};

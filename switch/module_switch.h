// The switch object that the daemon gets: loads the modules of a directory and leads them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "morla/switch.h"
#include "switch/module_host.h"
#include "switch/switch_settings.h"

// Calls come from one thread at a time, as the daemon makes them. No exception leaves, and what a
// module does wrong is traced and kept from the others; docs/switch.md has the rules.
class CModuleSwitch final : public SwitchInterface {
public:
    CModuleSwitch() = default;
    ~CModuleSwitch() override;
    CModuleSwitch(const CModuleSwitch&) = delete;
    CModuleSwitch& operator=(const CModuleSwitch&) = delete;

    // False when the settings or the directory cannot be used; true also when single modules, or
    // all of them, were refused.
    bool LoadModules(const _ExtensionModuleLoaderConfig& config) override;
    // False when a module had to be given up and stays loaded. The argument has no meaning.
    bool UnloadModules(std::uint32_t reserved) override;
    void StartAllModules() override;
    void StopAllModules() override;
    void Notify(std::uint32_t notice, void* data, int reserved) override;

private:
    [[nodiscard]] bool ReadSettings();
    void ReadTimeout(const char* key, std::chrono::milliseconds& timeout) const;
    [[nodiscard]] bool ListModules(std::vector<std::string>& paths) const;
    void LoadModule(const std::string& path, const _ExtensionModuleLoaderConfig& config);
    void InitModules();
    [[nodiscard]] bool IsNameTaken(const std::string& name) const;
    void Drop(CModuleHost& module);
    [[nodiscard]] Deadline StopDeadline() const;

    std::shared_ptr<const CSwitchSettings> m_Settings;
    ModuleTimeouts m_Timeouts;
    std::vector<std::unique_ptr<CModuleHost>> m_Modules;  // in load order
    bool m_HasGivenUp = false;  // a module that is no longer in the list stays loaded
};

// What the switch tells a module: how the daemon was started, settings, the request to stop.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "base/unique_fd.h"
#include "morla/module.h"
#include "switch/switch_settings.h"

// Thread-safe once Open and SetName have run.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): final, and no base deletes it
class CModuleContext final : public ModuleContext {
public:
    CModuleContext(const _ExtensionModuleLoaderConfig& config,
                   std::shared_ptr<const CSwitchSettings> settings)
        : m_Config(config), m_Settings(std::move(settings)) {}

    // Makes the stop descriptor; 0 or an errno number.
    [[nodiscard]] int Open();
    // Also the section of the module's settings.
    void SetName(std::string name) { m_Name = std::move(name); }
    [[nodiscard]] const std::string& Name() const { return m_Name; }
    void RequestStop();

    std::uint32_t RunMode() const override { return m_Config.RunMode; }
    bool IsForceRescan() const override { return (m_Config.Flags & kLoaderFlagForceRescan) != 0; }
    const char* Setting(const char* key, const char* fallback) const override;
    bool IsStopRequested() const override { return m_IsStopRequested; }
    bool WaitForStop(std::uint32_t timeoutMs) const override;
    int StopDescriptor() const override { return m_StopEvent.Get(); }

private:
    const _ExtensionModuleLoaderConfig m_Config;
    const std::shared_ptr<const CSwitchSettings> m_Settings;
    std::string m_Name;
    std::atomic<bool> m_IsStopRequested{false};
    CUniqueFd m_StopEvent;  // an eventfd, counted up once and never read
};

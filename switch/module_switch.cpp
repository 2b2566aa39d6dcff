#include "switch/module_switch.h"

#include <cxxabi.h>

#include <string_view>
#include <utility>

#include "base/cancellation.h"
#include "base/directory.h"
#include "base/error_text.h"
#include "base/kernel_file.h"
#include "base/paths.h"
#include "base/trusted_path.h"
#include "morla/debug.h"

namespace {

constexpr char kSection[] = "Modules";
constexpr std::size_t kSettingsLimit = 1U << 20U;  // bytes
constexpr std::int32_t kNoRunLevel = -1;

// Runs an operation of the switch; what it raises itself (no memory, say) ends here.
template <typename Operation>
bool Guarded(const char* name, Operation operation) {
    try {
        return operation();
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (const std::exception& exception) {
        Debug.Print(1, "\nSWITCH              : ## ERROR! %s: %s", name, exception.what());
    } catch (...) {
        Debug.Print(1, "\nSWITCH              : ## ERROR! %s: unknown exception", name);
    }
    return false;
}

}  // namespace

// The daemon stops and unloads before it releases; a caller that did not is served here.
CModuleSwitch::~CModuleSwitch() {
    const CCancellationHold hold;
    CModuleSwitch::UnloadModules(0);
}

bool CModuleSwitch::LoadModules(const _ExtensionModuleLoaderConfig& config) {
    return Guarded("LoadModules", [&] {
        if (!m_Modules.empty()) {
            Debug.Print(1, "\nSWITCH              : ## ERROR! the modules are loaded already");
            return false;
        }
        std::vector<std::string> paths;
        if (!ReadSettings() || !ListModules(paths)) {
            return false;
        }
        for (const std::string& path : paths) {
            LoadModule(path, config);
        }
        InitModules();
        Debug.Print(2, "\nSWITCH              : %zu of %zu modules ready", m_Modules.size(),
                    paths.size());
        return true;
    });
}

bool CModuleSwitch::ReadSettings() {
    std::string path;
    std::string problem;
    std::string text;
    int error = ResolveTrustedPath(paths::kSwitchConfigFile, PathKind::kRegularFile, path, problem);
    if (error == 0) {
        error = ReadKernelFile(path.c_str(), text, kSettingsLimit);
        problem = path + ": " + CErrorText(error).Get();
    }
    if (error != 0 && error != ENOENT) {
        // Not the defaults: they would load other modules than the administrator chose.
        Debug.Print(1, "\nSWITCH              : ## ERROR! settings not used: %s", problem.c_str());
        return false;
    }
    m_Settings = std::make_shared<const CSwitchSettings>(CSwitchSettings::Parse(text));
    m_Timeouts = ModuleTimeouts();
    ReadTimeout("InitTimeoutMs", m_Timeouts.Init);
    ReadTimeout("StopTimeoutMs", m_Timeouts.Stop);
    return true;
}

void CModuleSwitch::ReadTimeout(const char* key, std::chrono::milliseconds& timeout) const {
    bool isRefused = false;
    timeout = m_Settings->FindTimeout(kSection, key, timeout, isRefused);
    if (isRefused) {
        Debug.Print(1, "\nSWITCH              : ## ERROR! %s in %s is not 1 to 600000, using %lld",
                    key, paths::kSwitchConfigFile, static_cast<long long>(timeout.count()));
    }
}

// The "*.so" of the directory, hidden files left out, in the byte order of their names.
bool CModuleSwitch::ListModules(std::vector<std::string>& paths) const {
    const char* const configured = m_Settings->Find(kSection, "Directory");
    const std::string directory = configured != nullptr ? configured : paths::kModuleDirectory;
    std::string place;
    std::string problem;
    if (ResolveTrustedPath(directory, PathKind::kDirectory, place, problem) != 0) {
        Debug.Print(1, "\nSWITCH              : ## ERROR! module directory not used: %s",
                    problem.c_str());
        return false;
    }
    std::vector<std::string> names;
    if (const int error = ListDirectory(place, names); error != 0) {
        Debug.Print(1, "\nSWITCH              : ## ERROR! cannot list %s: %s", place.c_str(),
                    CErrorText(error).Get());
        return false;
    }
    for (const std::string& name : names) {
        if (name.ends_with(".so") && !name.starts_with('.')) {
            paths.push_back(place);
            paths.back().append("/").append(name);
        }
    }
    if (paths.empty()) {
        Debug.Print(1, "\nSWITCH              : no modules in %s", place.c_str());
    }
    return true;
}

void CModuleSwitch::LoadModule(const std::string& path,
                               const _ExtensionModuleLoaderConfig& config) {
    std::string file;
    std::string problem;
    if (ResolveTrustedPath(path, PathKind::kRegularFile, file, problem) != 0) {
        Debug.Print(1, "\nSWITCH              : ## ERROR! module %s refused: %s", path.c_str(),
                    problem.c_str());
        return;
    }
    auto module = std::make_unique<CModuleHost>(file, config, m_Settings, m_Timeouts);
    if (!module->Load()) {
        Drop(*module);
    } else if (IsNameTaken(module->Name())) {
        Debug.Print(1,
                    "\nSWITCH              : ## ERROR! module %s refused: another one has the "
                    "name %s",
                    path.c_str(), module->Name().c_str());
        Drop(*module);
    } else {
        m_Modules.push_back(std::move(module));
    }
}

bool CModuleSwitch::IsNameTaken(const std::string& name) const {
    return std::any_of(m_Modules.begin(), m_Modules.end(),
                       [&](const auto& module) { return module->Name() == name; });
}

void CModuleSwitch::InitModules() {
    std::vector<std::unique_ptr<CModuleHost>> ready;
    for (auto& module : m_Modules) {
        if (module->Init()) {
            ready.push_back(std::move(module));
        } else {
            Drop(*module);
        }
    }
    m_Modules = std::move(ready);
}

void CModuleSwitch::Drop(CModuleHost& module) {
    if (!module.Unload()) {
        m_HasGivenUp = true;
    }
}

void CModuleSwitch::StartAllModules() {
    Guarded("StartAllModules", [&] {
        for (const auto& module : m_Modules) {
            module->Start();
        }
        return true;
    });
}

void CModuleSwitch::Notify(std::uint32_t notice, void* data, int /*reserved*/) {
    Guarded("Notify", [&] {
        const std::int32_t runLevel = notice == kNotifyOsShutdown && data != nullptr
                                          ? *static_cast<const std::int32_t*>(data)
                                          : kNoRunLevel;
        for (const auto& module : m_Modules) {
            module->SendNotice(notice, runLevel);
        }
        const Deadline deadline = StopDeadline();
        for (const auto& module : m_Modules) {
            module->AwaitNotice(deadline);
        }
        return true;
    });
}

void CModuleSwitch::StopAllModules() {
    Guarded("StopAllModules", [&] {
        for (const auto& module : m_Modules) {
            module->AskToStop();
        }
        const Deadline deadline = StopDeadline();
        for (const auto& module : m_Modules) {
            module->AwaitStop(deadline);
        }
        return true;
    });
}

// The last loaded goes first.
bool CModuleSwitch::UnloadModules(std::uint32_t /*reserved*/) {
    return Guarded("UnloadModules", [&] {
        while (!m_Modules.empty()) {
            Drop(*m_Modules.back());
            m_Modules.pop_back();
        }
        return !std::exchange(m_HasGivenUp, false);
    });
}

Deadline CModuleSwitch::StopDeadline() const {
    return std::chrono::steady_clock::now() + m_Timeouts.Stop;
}

#include "switch/module_host.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "base/error_text.h"
#include "morla/debug.h"

namespace {

constexpr std::size_t kNameLimit = 31;

std::string FileName(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

// A name can stand in a trace line and as a section header.
bool IsName(std::string_view name) {
    return !name.empty() && name.size() <= kNameLimit &&
           name.find_first_not_of(
               "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"
               "_-.") == std::string_view::npos;
}

// Keeps what a module that was given up uses until the process ends, static destructors included:
// its threads may come back at any time.
void KeepForever(std::shared_ptr<void> parts) {
    // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): never destroyed
    static auto* const kept = new std::vector<std::shared_ptr<void>>;
    kept->push_back(std::move(parts));
}

std::string_view TextOf(const char* text) {
    return text != nullptr ? text : "";
}

}  // namespace

CModuleHost::CModuleHost(std::string path, const _ExtensionModuleLoaderConfig& config,
                         std::shared_ptr<const CSwitchSettings> settings, ModuleTimeouts timeouts)
    : m_Path(std::move(path)),
      m_Timeouts(timeouts),
      m_Name(FileName(m_Path)),
      m_Parts(std::make_shared<Parts>(config, std::move(settings))) {}

bool CModuleHost::Load() {
    std::string problem;
    if (!m_Parts->Library.Open(m_Path, problem)) {
        Debug.Print(1, "\nSWITCH              : ## ERROR! module %s not loaded: %s", m_Name.c_str(),
                    problem.c_str());
        return false;
    }
    const int error = m_Parts->Context.Open();
    if (error != 0) {
        Debug.Print(1, "\nSWITCH              : ## ERROR! module %s: no stop event: %s",
                    m_Name.c_str(), CErrorText(error).Get());
        return false;
    }
    if (!CallAndAwait("create", m_Timeouts.Init, [parts = m_Parts] { return Create(*parts); })) {
        return false;
    }
    if (m_Parts->Object == nullptr || !IsName(m_Parts->Context.Name())) {
        Debug.Print(1,
                    "\nSWITCH              : ## ERROR! module %s not loaded: no object, or no "
                    "proper name",
                    m_Name.c_str());
        return false;
    }
    m_Name = m_Parts->Context.Name();
    Debug.Print(2, "\nSWITCH              : module %s %s loaded from %s", m_Name.c_str(),
                m_Parts->Version.c_str(), m_Path.c_str());
    return true;
}

bool CModuleHost::Create(Parts& parts) {
    parts.Object = parts.Library.Create();
    if (parts.Object != nullptr) {
        parts.Context.SetName(std::string(TextOf(parts.Object->Name()).substr(0, kNameLimit + 1)));
        parts.Version = TextOf(parts.Object->Version()).substr(0, kNameLimit);
    }
    return true;
}

bool CModuleHost::Init() {
    const bool isWilling = CallAndAwait(
        "Init", m_Timeouts.Init, [parts = m_Parts] { return parts->Object->Init(parts->Context); });
    if (isWilling) {
        Debug.Print(2, "\nSWITCH              : module %s initialised", m_Name.c_str());
    } else {
        Debug.Print(1, "\nSWITCH              : module %s did not initialise and is not started",
                    m_Name.c_str());
    }
    return isWilling;
}

void CModuleHost::Start() {
    if (m_IsGivenUp || m_Run.IsStarted()) {
        return;
    }
    const bool isStarted = m_Run.Start(m_Name, "Run", [parts = m_Parts] {
        parts->Object->Run(parts->Context);
        return true;
    });
    if (isStarted) {
        Debug.Print(2, "\nSWITCH              : module %s started", m_Name.c_str());
    }
}

// Started, not given up, and its Run has not ended with an exception.
bool CModuleHost::CanBeCalled() const {
    return m_Run.IsStarted() && !m_IsGivenUp && !m_Run.HasFailed();
}

void CModuleHost::SendNotice(std::uint32_t notice, std::int32_t runLevel) {
    if (CanBeCalled()) {
        static_cast<void>(m_Notice.Start(m_Name, "OnNotice", [parts = m_Parts, notice, runLevel] {
            parts->Object->OnNotice(notice, runLevel);
            return true;
        }));
    }
}

void CModuleHost::AwaitNotice(Deadline deadline) {
    if (m_Notice.IsStarted() && !m_Notice.AwaitEnd(deadline)) {
        GiveUp("OnNotice");
    }
}

void CModuleHost::AskToStop() {
    m_Parts->Context.RequestStop();
    if (CanBeCalled()) {
        static_cast<void>(m_Stop.Start(m_Name, "Stop", [parts = m_Parts] {
            parts->Object->Stop();
            return true;
        }));
    }
}

void CModuleHost::AwaitStop(Deadline deadline) {
    if (!m_Run.IsStarted()) {
        return;
    }
    if (m_Stop.IsStarted() && !m_Stop.AwaitEnd(deadline)) {
        GiveUp("Stop");
    }
    if (!m_Run.AwaitEnd(deadline)) {
        GiveUp("Run");
    }
    if (!m_IsGivenUp) {
        Debug.Print(2, "\nSWITCH              : module %s stopped", m_Name.c_str());
    }
}

bool CModuleHost::Unload() {
    if (m_Run.IsStarted() && !m_IsGivenUp) {
        AskToStop();
        AwaitStop(std::chrono::steady_clock::now() + m_Timeouts.Stop);
    }
    if (!m_IsGivenUp && m_Parts->Object != nullptr) {
        const bool isDestroyed = CallAndAwait("destroy", m_Timeouts.Stop, [parts = m_Parts] {
            parts->Library.Destroy(std::exchange(parts->Object, nullptr));
            return true;
        });
        if (!isDestroyed && !m_IsGivenUp) {
            GiveUp("destroy");  // threads of its own may still be in its code
        }
    }
    if (m_IsGivenUp) {
        return false;
    }
    if (!m_Parts->Library.IsOpen()) {
        return true;
    }
    m_Parts->Library.Close();
    Debug.Print(2, "\nSWITCH              : module %s unloaded", m_Name.c_str());
    return true;
}

bool CModuleHost::CallAndAwait(const char* operation, std::chrono::milliseconds timeout,
                               std::function<bool()> call) {
    CModuleCall running;
    if (!running.Start(m_Name, operation, std::move(call))) {
        return false;
    }
    if (!running.AwaitEnd(std::chrono::steady_clock::now() + timeout)) {
        GiveUp(operation);
        return false;
    }
    return running.HasSucceeded();
}

void CModuleHost::GiveUp(const char* operation) {
    Debug.Print(1, "\nSWITCH              : ## ERROR! module %s given up in %s; it stays loaded",
                m_Name.c_str(), operation);
    if (std::exchange(m_IsGivenUp, true)) {
        return;
    }
    m_Parts->Context.RequestStop();
    m_Parts->Library.Abandon();
    KeepForever(m_Parts);
}

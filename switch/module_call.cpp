#include "switch/module_call.h"

#include <cxxabi.h>
#include <pthread.h>

#include <csignal>
#include <exception>

#include "base/cancellation.h"
#include "base/control_signals.h"
#include "morla/debug.h"

namespace {

// Blocks the daemon's control signals while it exists; a thread started meanwhile inherits that.
class CControlSignalBlock {
public:
    CControlSignalBlock() {
        const sigset_t control = ControlSignals();
        pthread_sigmask(SIG_BLOCK, &control, &m_Previous);
    }
    ~CControlSignalBlock() { pthread_sigmask(SIG_SETMASK, &m_Previous, nullptr); }
    CControlSignalBlock(const CControlSignalBlock&) = delete;
    CControlSignalBlock& operator=(const CControlSignalBlock&) = delete;

private:
    sigset_t m_Previous{};
};

// The kernel's limit, without the terminator.
constexpr std::size_t kThreadNameLength = 15;

}  // namespace

// Reports the end when its scope is left, also by the unwinding of a cancelled thread.
class CModuleCall::CEndMark {
public:
    explicit CEndMark(State& state) : m_State(state) {}
    ~CEndMark() {
        const CCancellationHold hold;
        const std::lock_guard guard(m_State.Lock);
        m_State.IsEnded = true;
        m_State.Ended.notify_all();
    }
    CEndMark(const CEndMark&) = delete;
    CEndMark& operator=(const CEndMark&) = delete;

private:
    State& m_State;
};

void CModuleCall::Execute(State& state, const char* module, const char* operation,
                          const std::function<bool()>& call) {
    const CEndMark mark(state);
    try {
        state.IsSuccess = call();
    } catch (abi::__forced_unwind&) {
        Debug.Print(1, "\nSWITCH              : ## ERROR! module %s: %s ended its thread", module,
                    operation);
        throw;
    } catch (const std::exception& exception) {
        Debug.Print(1, "\nSWITCH              : ## ERROR! module %s: exception in %s: %s", module,
                    operation, exception.what());
    } catch (...) {
        Debug.Print(1, "\nSWITCH              : ## ERROR! module %s: exception in %s", module,
                    operation);
    }
}

bool CModuleCall::Start(const std::string& module, const char* operation,
                        std::function<bool()> call) {
    Abandon();
    m_State = std::make_shared<State>();
    const CControlSignalBlock block;
    try {
        m_Thread = std::thread([state = m_State, module, operation, call = std::move(call)] {
            pthread_setname_np(pthread_self(), module.substr(0, kThreadNameLength).c_str());
            Execute(*state, module.c_str(), operation, call);
        });
    } catch (const std::system_error& error) {
        Debug.Print(1, "\nSWITCH              : ## ERROR! module %s: no thread for %s: %s",
                    module.c_str(), operation, error.what());
        return false;
    }
    return true;
}

bool CModuleCall::AwaitEnd(Deadline deadline) {
    {
        std::unique_lock lock(m_State->Lock);
        if (!m_State->Ended.wait_until(lock, deadline, [this] { return m_State->IsEnded; })) {
            return false;
        }
    }
    m_Thread.join();
    return true;
}

bool CModuleCall::HasSucceeded() const {
    if (m_State == nullptr) {
        return false;
    }
    const std::lock_guard guard(m_State->Lock);
    return m_State->IsEnded && m_State->IsSuccess;
}

bool CModuleCall::HasFailed() const {
    if (m_State == nullptr) {
        return false;
    }
    const std::lock_guard guard(m_State->Lock);
    return m_State->IsEnded && !m_State->IsSuccess;
}

void CModuleCall::Abandon() {
    if (m_Thread.joinable()) {
        m_Thread.detach();
    }
}

// One call into a module: in a thread of its own, with its exceptions caught, awaited to a
// deadline.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

using Deadline = std::chrono::steady_clock::time_point;

// A call that does not end in time is left to itself: its thread is detached and keeps what it uses
// (what `call` holds, and the state below) alive. This library is linked never to be unloaded, so
// the code that the thread may return into stays as well.
// One thread at a time may use an object of this class.
class CModuleCall {
public:
    CModuleCall() = default;
    ~CModuleCall() { Abandon(); }
    CModuleCall(const CModuleCall&) = delete;
    CModuleCall& operator=(const CModuleCall&) = delete;

    // Starts `call` under the names of module and operation, which the trace shows when it raises
    // an exception. False (traced) when there is no thread to be had.
    [[nodiscard]] bool Start(const std::string& module, const char* operation,
                             std::function<bool()> call);
    [[nodiscard]] bool IsStarted() const { return m_Thread.joinable(); }
    // Waits for the end and joins the thread. False when the deadline came first.
    [[nodiscard]] bool AwaitEnd(Deadline deadline);
    // Whether the call ended with true, or with false or an exception; neither while it goes on.
    [[nodiscard]] bool HasSucceeded() const;
    [[nodiscard]] bool HasFailed() const;
    // Leaves a call that goes on to itself.
    void Abandon();

private:
    struct State {
        std::mutex Lock;  // of IsEnded
        std::condition_variable Ended;
        bool IsEnded = false;
        bool IsSuccess = false;  // written by the call's thread, read after IsEnded
    };
    class CEndMark;
    // The unwinding of a thread arrives as a reference to nothing, which is not an error.
    __attribute__((no_sanitize("null"))) static void Execute(State& state, const char* module,
                                                             const char* operation,
                                                             const std::function<bool()>& call);

    std::shared_ptr<State> m_State;
    std::thread m_Thread;
};

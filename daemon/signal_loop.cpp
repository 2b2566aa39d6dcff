#include "daemon/signal_loop.h"

#include <cstdlib>

#include "base/control_signals.h"
#include "daemon/daemon_tag.h"
#include "daemon/exit_event.h"
#include "daemon/run_level_reader.h"
#include "os/run_level.h"
#include "trace/debug.h"

using daemon_names::kTag;

void RunSignalLoop(CSwitchApi& switchApi) {
    const sigset_t waitSet = ControlSignals();
    Debug.PrintAlways(0, "\n%s-MAIN:  Waiting for signals...", kTag);
    do {
        std::int32_t signal = 0;
        const int error = sigwait(&waitSet, &signal);
        if (error == 0) {
            Debug.PrintAlways(0, "\n%s-MAIN:  ... got signal %d", kTag, signal);
        } else {
            Debug.PrintAlways(0, "%s-MAIN: ## ERROR sigwait() failed (ret=%d) ##\n", kTag, error);
            Debug.PrintAlways(0,
                              "%s-MAIN: ## ERROR This is Operating System BUG, since sigwait() "
                              "should never return an error !!! ##\n",
                              kTag);
            Debug.PrintAlways(0,
                              "%s-MAIN: ## ERROR We do so as if SIGTERM has been sent to this "
                              "process) --> Do Shutdown !!! ##\n",
                              kTag);
            signal = SIGTERM;
        }
        CatchSignals(signal, switchApi);
    } while (!ExitEvent.IsSet());
}

namespace {

void FlipTracing(std::int32_t signal) {
    Debug.PrintAlways(0, "%s-MAIN: Signal %d (SIGHUP) caught\n", kTag, signal);
    if (Debug.IsTracingActive()) {
        Debug.PrintAlways(0, "%s-MAIN: Trace reset due to SIGHUP\n", kTag);
        Debug.ForceMaxDebug(false);
    } else {
        Debug.ForceMaxDebug(true);
        Debug.PrintAlways(0, "%s-MAIN: Trace forced due to SIGHUP\n", kTag);
    }
}

void NotifySwitch(const CSwitchApi& switchApi, std::int32_t runLevel) {
    if (switchApi.Interface() == nullptr) {
        return;
    }
    switchApi.Interface()->Notify(kNotifyStop, nullptr, 0);
    // Asked again: the library knows where the pointer is kept, and may have taken it back.
    if (IsOsShutdown(runLevel) && switchApi.Interface() != nullptr) {
        switchApi.Interface()->Notify(kNotifyOsShutdown, &runLevel, 0);
    }
}

}  // namespace

void CatchSignals(std::int32_t signal, CSwitchApi& switchApi) {
    if (signal == SIGALRM) {
        Debug.PrintAlways(0, "%s-MAIN: WARNING: Signal %d (SIGALRM) caught -> ignoring\n", kTag,
                          signal);
        return;
    }
    if (signal == SIGHUP) {
        FlipTracing(signal);
        return;
    }
    Debug.PrintAlways(0, "%s-MAIN: Signal %d caught -> processing\n", kTag, signal);
    NotifySwitch(switchApi, FindRunLevel());
    ExitEvent.Set();
    if (signal != SIGINT && signal != SIGTERM) {
        Debug.PrintAlways(0, "%s-MAIN: Unexpected Signal %d caught -> ABORT\n", kTag, signal);
        std::abort();
    }
}

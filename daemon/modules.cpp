#include "daemon/modules.h"

#include "daemon/daemon_tag.h"
#include "daemon/guarded_trace.h"

using daemon_names::kTag;

bool LoadSwitch(CSwitchApi& switchApi) {
    const bool isLoaded = switchApi.LoadSwitch();
    if (!isLoaded) {
        Debug.PrintAlways(0, "%s-MAIN: FATAL ERROR! Server Control SWITCH could not be loaded!",
                          kTag);
    }
    return isLoaded;
}

void StartModules(CSwitchApi& switchApi, const _ExtensionModuleLoaderConfig& config) {
    TraceIfActive(2, "%s-MAIN: Load extension modules ...", kTag);
    if (!switchApi.LoadModules(config)) {
        TraceIfActive(1, "%s-MAIN: ERROR! Load extension modules FAILED!", kTag);
        return;
    }
    TraceIfActive(2, "%s-MAIN: ... extension modules loaded", kTag);
    TraceIfActive(2, "%s-MAIN: Start all modules  ...", kTag);
    if (switchApi.Interface() != nullptr) {
        switchApi.Interface()->StartAllModules();
    }
    TraceIfActive(2, "%s-MAIN: ... all modules started", kTag);
}

void StopModules(CSwitchApi& switchApi) {
    Debug.PrintAlways(0, "%s-MAIN: ## Someone signaled exit state ##\n", kTag);
    TraceIfActive(2, "%s-MAIN::OnExitService      : Stopping all modules...\n", kTag);
    if (switchApi.Interface() != nullptr) {
        switchApi.Interface()->StopAllModules();
        TraceIfActive(2, "%s-MAIN::OnExitService      : ... all modules stopped\n", kTag);
        TraceIfActive(2,
                      "%s-MAIN::OnExitService      : Start unload of all registered extension "
                      "modules ...\n",
                      kTag);
    }
    switchApi.UnloadModules(0);
    TraceIfActive(2,
                  "%s-MAIN::OnExitService      : ... unload of all registered extension modules "
                  "completed!\n",
                  kTag);
    switchApi.Release();
}

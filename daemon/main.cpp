// The daemon's life: start, wait for a signal, stop.
#include <unistd.h>

#include "base/paths.h"
#include "daemon/command_line.h"
#include "daemon/daemon_tag.h"
#include "daemon/distrust.h"
#include "daemon/driver_probe.h"
#include "daemon/file_lock.h"
#include "daemon/modules.h"
#include "daemon/pid_file.h"
#include "daemon/search_path.h"
#include "daemon/signal_loop.h"
#include "daemon/start_up.h"
#include "daemon/switch_api.h"
#include "trace/debug.h"

using daemon_names::kName;
using daemon_names::kTag;

// Returns 0 after an orderly stop, 1 when the start failed. The lock is the first object and the
// last to go.
int main(int argc, char** argv) {
    const char* const invocationName = InvocationName(argc, argv);
    const auto arguments = OptionArguments(argc, argv);

    if (!IsStartedByRoot(invocationName)) {
        return 1;
    }
    CFileLock lock;
    if (!LockInstance(lock, invocationName) || !EnterBackground(arguments, invocationName)) {
        return 1;
    }
    Debug.Init(kName);
    Debug.SetMainParams(argc, argv);
    const _ExtensionModuleLoaderConfig config = ParseCommandLine(arguments);
    LeaveStartersEnvironment();
    LeaveOpenSearchFolders();
    SetUpSignals();
    PrintBanner();
    WarnOfConfigurationWriters();
    OpenSystemLog();
    if (config.RunMode == RUN_MODE_AGENT) {
        DiscoverSmbusDriverInfo();
    }
    CSwitchApi switchApi;
    if (!LoadSwitch(switchApi)) {
        return 1;
    }
    WritePidFile();
    StartModules(switchApi, config);
    FinishStart();

    RunSignalLoop(switchApi);

    StopModules(switchApi);
    Debug.PrintAlways(0, "%s-MAIN: ## EXIT PROCESS %s ##\n", kTag, kTag);
    RemovePidFile();
    return 0;
}

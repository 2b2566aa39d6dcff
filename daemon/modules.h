// The life of the extension modules, as far as the daemon has a part in it.
#pragma once

#include "daemon/switch_api.h"
#include "morla/switch.h"

// Loads the switch. False, with a message, when that failed.
[[nodiscard]] bool LoadSwitch(CSwitchApi& switchApi);

// Loads and starts the modules. Modules that cannot be loaded are not started; the daemon then
// idles.
void StartModules(CSwitchApi& switchApi, const _ExtensionModuleLoaderConfig& config);

// Stops and unloads the modules, then releases the switch and closes its library.
void StopModules(CSwitchApi& switchApi);

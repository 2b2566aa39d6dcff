// The switch object of a loaded library: whether it is one, and its life.
#pragma once

#include "morla/switch.h"

namespace switch_probe {

// The operations in the order in which the daemon calls them; LoadModules and StartAllModules on
// demand only, the others as after a LoadModules that failed. Reports each.
void CheckObject(void* library, bool loadsModules);

}  // namespace switch_probe

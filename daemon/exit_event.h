// The event that announces the end of the daemon.
#pragma once

#include "os/event.h"

// Manual reset; set once, by CatchSignals, and never reset. Constructed directly after `Debug` and
// destroyed directly before it.
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): one for the process
extern CEvent ExitEvent;

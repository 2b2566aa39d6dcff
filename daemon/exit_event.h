// The event that announces the end of the daemon.
#pragma once

#include "os/event.h"

// Manual reset; set once, by CatchSignals, and never reset. Constructed directly after `Debug` and
// destroyed directly before it.
extern CEvent ExitEvent;

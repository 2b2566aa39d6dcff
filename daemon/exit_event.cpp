#include "daemon/exit_event.h"

// The next priority after that of `Debug`, which it writes to.
__attribute__((init_priority(102)))
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): one for the process
CEvent ExitEvent(false, true, nullptr);

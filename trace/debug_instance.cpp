// The one global instance. It is constructed before every other object of the program and therefore
// destroyed after all of them: whatever runs in between may trace.
#include "trace/debug.h"

// The first priority that programs may use; the daemon's exit event takes the next.
__attribute__((init_priority(101)))
CDebug Debug;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables): one for the process

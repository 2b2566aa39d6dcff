// Finds out at a stop whether the operating system is going down, too.
#pragma once

#include <cstdint>

// The run level that the daemon is stopped in: 0 halt, 6 reboot, 5 a plain stop, -1 unknown; on
// systems without run-level file any value that utmp or the runlevel program tells. Takes up to
// three seconds where the run-level file is missing. Main thread only (utmp's walk is one for the
// process).
[[nodiscard]] std::int32_t FindRunLevel();

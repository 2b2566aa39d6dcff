// What a daemon that is run for a look finds on its file system.
#pragma once

#include <string>

// Writes the trace configuration (level 3, the smallest ring, no memory column) and the switch's,
// makes the folders, and installs `module` where only root can write, as the switch demands.
// False, with a line on standard error, when that fails.
[[nodiscard]] bool MakeDaemonFiles(const std::string& module);

// Which system calls of a traced process stop for the injector.
#pragma once

#include <vector>

// For the process that calls and for all that it starts: the given calls stop, every call when
// there are none. False when the kernel refuses.
[[nodiscard]] bool StopAtCalls(const std::vector<long>& calls);

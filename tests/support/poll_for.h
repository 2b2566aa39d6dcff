// Waiting for one descriptor, with a limit.
#pragma once

#include <chrono>

// Waits until `fd` is readable; false when the time limit comes first. Signals do not shorten it.
[[nodiscard]] bool IsReadableWithin(int fd, std::chrono::milliseconds limit);

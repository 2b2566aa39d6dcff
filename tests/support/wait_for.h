// Waiting for what another process does to files.
#pragma once

#include <chrono>
#include <functional>
#include <string>

// How long a test waits for what should come at once: long enough for a busy machine under a
// sanitizer, and no cost when it comes.
inline constexpr std::chrono::seconds kGenerousLimit{30};

// Waits until `condition` holds; it is tried whenever something in `folder` changes, and at least
// every few milliseconds, since the kernel does not tell of writes through a memory mapping.
// False when the time limit comes first.
[[nodiscard]] bool WaitUntil(const std::function<bool()>& condition, const std::string& folder,
                             std::chrono::milliseconds limit = kGenerousLimit);

// Waits until the file at `path`, which may not exist yet, contains `text`.
[[nodiscard]] bool WaitForText(const std::string& path, const std::string& text,
                               std::chrono::milliseconds limit = kGenerousLimit);

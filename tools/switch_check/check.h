// Tells whether a library is fit to be the daemon's switch.
#pragma once

#include <chrono>
#include <string>

#include "tools/switch_check/finding.h"

namespace switch_check {

struct Options {
    std::chrono::milliseconds Timeout = std::chrono::seconds(10);  // for all that the library does
    bool LoadsModules = false;  // also calls LoadModules and StartAllModules, as the daemon does
};

// Looks at the file, at who may write it, and then loads it in a process of its own that has what
// the daemon has: its constructors run, and the switch object is led through its life, with the
// caller's rights. Never crashes or hangs with the library. `path` is a file, not a name to search
// for.
[[nodiscard]] Findings Check(const std::string& path, const Options& options);

// Whether nothing stands against it; warnings do not.
[[nodiscard]] bool IsFit(const Findings& findings);

}  // namespace switch_check

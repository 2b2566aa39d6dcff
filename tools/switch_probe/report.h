// What the probe says to the process that started it, line by line and at once: the library may end
// it at any time.
#pragma once

#include <string>
#include <string_view>

#include "tools/switch_check/finding.h"

namespace switch_probe {

// Said before each thing that the library might not survive.
void Step(std::string_view step);
void Report(switch_check::Verdict verdict, std::string_view check, const std::string& what);

}  // namespace switch_probe

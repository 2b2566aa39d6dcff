// Loads a library as the daemon would, and says what stands against it.
#pragma once

#include <string>

namespace switch_probe {

// Null when it cannot be loaded; every reason that could be found is reported. The static
// constructors run.
[[nodiscard]] void* Load(const std::string& file);

}  // namespace switch_probe

// Makes a captured tree the root of this process, so that the real absolute paths lead into it.
#pragma once

#include <string>

namespace tools {

// Enters the folder. An ordinary user gets a user namespace for it, which works only while the
// process has one thread. 0, else an exit code, with the reason reported.
//
// Nothing that is read afterwards comes from outside the folder, whatever links it holds; what the
// process has open stays open. There is no way back.
[[nodiscard]] int EnterCapturedRoot(const std::string& folder);

}  // namespace tools

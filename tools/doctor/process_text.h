// Pure parsers of what the kernel writes about locks, and of environments.
#pragma once

#include <sys/types.h>

#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace doctor {

using Variables = std::map<std::string, std::string, std::less<>>;

// Whether /proc/locks lists a flock of the file with that number on that device.
[[nodiscard]] bool IsFlocked(std::string_view locks, dev_t device, ino_t file);

// Whether an open file whose fdinfo this is holds a flock.
[[nodiscard]] bool HoldsFlock(std::string_view fdinfo);

// NAME=VALUE, each ended by a zero byte.
[[nodiscard]] Variables ParseEnvironment(std::string_view text);

// The environment file of a service: a line NAME=VALUE each, the value in quotes or not; lines that
// begin with "#" or ";" are remarks.
[[nodiscard]] Variables ParseEnvironmentFile(std::string_view text);

}  // namespace doctor

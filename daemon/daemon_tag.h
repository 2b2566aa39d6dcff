// The daemon's two names: what files and the trace call it, and the tag of its messages.
#pragma once

namespace daemon_names {

inline constexpr char kName[] = "zentd";  // trace, lock owner, system log
inline constexpr char kTag[] = "ZENTD";   // first in every message, through a leading "%s"

}  // namespace daemon_names

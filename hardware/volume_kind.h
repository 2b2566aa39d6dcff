// What kind of file system a volume holds, told by its type and its device alone.
#pragma once

#include <cstdint>
#include <string_view>

#include "base/export.h"

// The numbers stand in the trace.
enum class VolumeKind : std::uint32_t {
    kOther = 0,      // of an unknown type, on no device of its own
    kDisk = 1,       // on block devices of this machine
    kNetwork = 2,    // on another machine, or on the host of this virtual one
    kPseudo = 3,     // made by the kernel, of no size ("proc")
    kAutomount = 4,  // a trigger: touching it mounts something
    kUserSpace = 5,  // a FUSE server, whatever is behind it
    kLayered = 6     // on other mounted file systems ("overlay")
};
// For people: "network".
[[nodiscard]] MORLA_API const char* VolumeKindName(VolumeKind kind);

// By type where it is known, a FUSE sub-type ("fuse.sshfs") like the type itself; else by the look
// of the device: "server:/x" and "//server/x" are network, other absolute paths are disk.
[[nodiscard]] MORLA_API VolumeKind ClassifyVolume(std::string_view type, std::string_view device);

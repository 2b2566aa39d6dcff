// Block devices in /sys: their kernel names, sizes, and the drives that they lie on.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "hardware/finding.h"

namespace block_device {

// The kernel's name of a node below /dev: a '/' in it stands as '!' ("cciss/c0d0": "cciss!c0d0").
[[nodiscard]] std::string KernelName(std::string_view node);

// The kernel's name of the device behind a path below /dev, through links ("/dev/mapper/vg-root":
// "dm-0") or, where the node has a name of its own, by its device number. None when there is no
// such block device.
[[nodiscard]] std::optional<std::string> FindKernelName(const std::string& path);

// The same for the device that the folder lies on. Touches the folder; none for file systems that
// have no device of their own.
[[nodiscard]] std::optional<std::string> FindKernelNameBelow(const std::string& folder);

// An attribute that counts sectors, in bytes. The kernel's sectors have 512 bytes, whatever the
// drive's blocks have.
[[nodiscard]] CFinding<std::uint64_t> ReadSectors(const std::string& path);

// What a device lies on, each name once and sorted.
struct Stack {
    std::vector<std::string> Partitions;
    std::vector<std::string> Drives;
};
// Follows device-mapper and md stacks down from the device, through partitions. A device that lies
// on no hardware (a loop device, a memory disk) leaves the drives empty.
[[nodiscard]] Stack ResolveStack(const std::string& device);

}  // namespace block_device

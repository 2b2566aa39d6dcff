// The inventory as JSON. docs/hardware.md has the layout; it is ASCII and valid whatever bytes the
// firmware, drives and file systems hold.
#pragma once

#include <cstdint>
#include <string_view>

#include "inventory/json_fields.h"
#include "inventory/snapshot.h"

namespace inventory {

// Rises with every change that a reader could trip over.
inline constexpr int kLayoutVersion = 1;

// Bits: the parts that a description holds.
enum Section : std::uint32_t {
    kSlots = 0x1,
    kAdapters = 0x2,
    kDrives = 0x4,  // with their partitions
    kVolumes = 0x8,
    kFirmware = 0x10,
    kEverything = 0x1F,
};
// "slots" and so on; 0 for any other name.
[[nodiscard]] std::uint32_t FindSection(std::string_view name);

[[nodiscard]] Json Describe(const Snapshot& snapshot, std::uint32_t sections = kEverything);

// The parts.
[[nodiscard]] Json DescribeSlots(const Snapshot& snapshot);
[[nodiscard]] Json DescribeAdapter(const CSystemAdapter& adapter);
[[nodiscard]] Json DescribeDrive(const CSystemDrive& drive);
[[nodiscard]] Json DescribeVolume(const CSystemVolume& volume);
[[nodiscard]] Json DescribeFirmware(const FirmwareReport& firmware);

}  // namespace inventory

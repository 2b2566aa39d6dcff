// What the devices outside PCI occupy: the kernel's list of I/O ports, and the PnP devices.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "hardware/resource_descriptor.h"

namespace isa {

// A range of I/O ports and who has it.
struct PortRange {
    std::uint64_t First = 0;
    std::uint64_t Last = 0;   // still part of it
    std::uint32_t Depth = 0;  // 0, or 1 more than the range around it
    std::string Owner;        // a driver, a bus or a device, as the kernel calls it
};

// A PnP device; without an answer of the kernel it has no resources.
struct PnpDevice {
    std::string Name;  // "00:01"
    std::string Ids;   // "PNP0501", several separated by commas
    std::optional<std::string> Driver;
    std::vector<ResourceDescriptor> Resources;
};

// The ranges of /proc/ioports, in its order; lines of other kinds are left out.
[[nodiscard]] std::vector<PortRange> ParseIoPorts(std::string_view text);

// Reads them. 0, or an errno number: EACCES when the kernel hides the numbers from the caller.
[[nodiscard]] int ReadIoPorts(std::vector<PortRange>& ranges);

// By their names; those that went away meanwhile are left out.
[[nodiscard]] std::vector<PnpDevice> ReadPnpDevices();

}  // namespace isa

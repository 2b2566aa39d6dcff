// Reads /sys: attributes, links and folders. What cannot be read is absent, never zero or empty.
//
// Devices come and go while they are read, so every answer may be missing, whatever was listed a
// moment ago. Nothing is traced.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "hardware/pci_address.h"

namespace sysfs {

// The kernel gives an attribute in one page; a few binary ones are longer.
inline constexpr std::size_t kAttributeMax = 4096;

// The attribute without the white space and NUL bytes around it, of which at most `limit` bytes are
// read. None when it is missing, may not be read, or the device went away meanwhile.
[[nodiscard]] std::optional<std::string> ReadAttribute(const std::string& path,
                                                       std::size_t limit = kAttributeMax);

// The attribute as a number: decimal, or hexadecimal behind "0x". None also for any other text (a
// negative number, or "Unknown", as attributes say what they do not know).
[[nodiscard]] std::optional<std::uint64_t> ReadNumber(const std::string& path);

// Such a number in a text that holds nothing else.
[[nodiscard]] std::optional<std::uint64_t> ParseNumber(std::string_view text);

// The last component of what the link points at ("e1000e" of a driver's link).
[[nodiscard]] std::optional<std::string> ReadLink(const std::string& path);

// The path with all links resolved: where a device stands in the tree of devices.
[[nodiscard]] std::optional<std::string> ResolvePath(const std::string& path);

// The names in the folder, sorted by their bytes; none when it cannot be read.
[[nodiscard]] std::vector<std::string> ListDirectory(const std::string& path);

// The PCI function that a device hangs on, from its resolved path: the last component that is a PCI
// address. None for devices elsewhere (USB hangs on its controller, "virtual" on nothing). A device
// in a PCI domain beyond 16 bits hangs on the controller that makes the domain.
[[nodiscard]] std::optional<CPciAddress> FindPciAddress(std::string_view devicePath);

}  // namespace sysfs

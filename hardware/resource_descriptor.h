// What a device occupies of the machine: I/O ports, memory, interrupts, DMA channels.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

enum class ResourceKind : std::uint8_t { kIoPorts, kMemory, kIrq, kDma };

struct ResourceDescriptor {
    // Flags of I/O ports and memory, as the kernel has them (its IORESOURCE_ numbers).
    static constexpr std::uint64_t kPrefetchable = 0x2000;
    static constexpr std::uint64_t k64Bit = 0x100000;
    // The flag of an interrupt that is a message (MSI, MSI-X) and no line.
    static constexpr std::uint64_t kMessage = 1;

    ResourceKind Kind = ResourceKind::kMemory;
    std::uint64_t First = 0;  // address, port, or the number of the interrupt or channel
    std::uint64_t Last = 0;   // still part of it
    std::uint64_t Flags = 0;

    bool operator==(const ResourceDescriptor&) const = default;
};

namespace resources {

// The ranges in a PCI function's attribute "resource": a line each of "first last flags", in
// hexadecimal. Lines without a range, or without an address of their own yet, are left out.
[[nodiscard]] std::vector<ResourceDescriptor> ParsePciResources(std::string_view text);

// The ranges in a PnP device's attribute "resources", a line each: "io 0x3f8-0x3ff", "irq 4",
// "dma 2", "mem 0xa0000-0xbffff", with more words behind for what we do not need; "disabled" in the
// place of a range leaves it out.
[[nodiscard]] std::vector<ResourceDescriptor> ParsePnpResources(std::string_view text);

// The speed of a link in MT/s, in an attribute such as "8.0 GT/s PCIe". None when it is not known.
[[nodiscard]] std::optional<std::uint32_t> ParseLinkSpeed(std::string_view text);

}  // namespace resources

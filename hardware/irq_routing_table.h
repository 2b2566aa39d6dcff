// Pure reading of the PCI IRQ routing table (PCI BIOS Specification 2.1, "$PIR").
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/byte_view.h"

// One device on a bus: a slot, or a chip on the board.
struct __attribute__((packed)) IrqRoutingEntry {
    std::uint8_t Bus;
    std::uint8_t DeviceFunction;  // the device in the upper 5 bits
    struct __attribute__((packed)) {
        std::uint8_t Link;
        std::uint16_t IrqBitmap;
    } Pins[4];          // INTA# to INTD#
    std::uint8_t Slot;  // 0: on the board
    std::uint8_t Reserved;
};
static_assert(offsetof(IrqRoutingEntry, Slot) == 14 && sizeof(IrqRoutingEntry) == 16);

namespace irq_routing {

inline constexpr std::size_t kHeaderSize = 32;  // bytes before the first entry

enum class Result {
    kFound,
    kNotFound,         // no anchor at a multiple of 16
    kIllegalSize,      // 0, or beyond the end of the range less a header
    kUnevenSize,       // no multiple of an entry
    kIllegalVersion,   //
    kIllegalChecksum,  // the bytes do not add up to 0
};

// As far as it was read: what a result is about is set, and what comes before that.
struct Table {
    std::size_t Offset = 0;  // in the range
    std::uint16_t Size = 0;  // bytes, with the header
    std::uint8_t MajorVersion = 0;
    std::uint8_t MinorVersion = 0;
    std::uint8_t Checksum = 0;  // the sum of all bytes
    std::vector<IrqRoutingEntry> Entries;
};

// The first table of a memory range, searched at multiples of 16 from its begin. The first anchor
// decides: behind a bad table no other one is looked for.
[[nodiscard]] Result Parse(CByteView range, Table& table);

}  // namespace irq_routing

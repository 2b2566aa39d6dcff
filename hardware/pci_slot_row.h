// A row of the slot table: which slot a bus, or a device on a bus, belongs to.
//
// Names that differ by one letter: PciSlotData is a row of the firmware's slot table (here),
// CPciSlotData is a PCI function, GetPciSlotData is a query of the device scan.
#pragma once

#include <cstdint>
#include <string>

#include "base/export.h"

struct MORLA_API PciSlotData {
    // Codes of DSP0134, chapter 7.10.
    static constexpr std::uint8_t kTypeUnknown = 2;
    static constexpr std::uint8_t kUsageUnknown = 2;
    static constexpr std::uint8_t kUsageInUse = 4;
    static constexpr std::uint8_t kUsageUnavailable = 5;
    static constexpr std::uint8_t kNoBus = 0xFF;  // a slot that is not there

    // Whether the slot has the bus to itself. The row's fields decide nothing but that; one trace
    // line.
    [[nodiscard]] bool IsSerialBus() const;
    // "PciSlotData 3b:0.** --> Slot 5 (Serial bus)"
    [[nodiscard]] std::string ToString() const;
    // Whether this row of a table describes the place of `other`: the bus, and the device unless
    // this is a serial slot. Deliberate: not symmetric, and slot, type and usage do not count.
    [[nodiscard]] bool operator==(const PciSlotData& other) const;

    std::uint8_t m_Bus = 0;
    std::uint8_t m_Device = 0;  // 0 to 31
    std::uint8_t m_Slot = 0;    // 0: onboard
    std::uint8_t m_SlotType = kTypeUnknown;
    std::uint8_t m_CurrentUsage = kUsageUnknown;
};
static_assert(sizeof(PciSlotData) == 5);

enum class PciSlotKind { kParallel, kPciExpress, kPciExpressMini, kMxm, kM2 };

// The kind of slot that a type code stands for. Every kind but kParallel is serial.
[[nodiscard]] MORLA_API PciSlotKind FindPciSlotKind(std::uint8_t slotType);

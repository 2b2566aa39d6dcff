// The first 64 bytes of a PCI function's configuration space (PCI Local Bus Specification 3.0, 6.1;
// PCI-to-PCI Bridge Architecture Specification 1.2, 3.2).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "base/export.h"

// Little-endian, as the bus has it. The part behind the common fields depends on the header type.
class MORLA_API CPciCommonConfigHeader {
public:
    static constexpr std::uint8_t kMultiFunction = 0x80;  // of HeaderType
    static constexpr std::uint16_t kNoFunction = 0xFFFF;  // VendorId where no function answers

    // The base class's name, "Unknown" for a class without one.
    [[nodiscard]] static const char* GetPciBaseClassDescription(
        const CPciCommonConfigHeader& header);
    // The sub-class's name by the PCI Code and ID Assignment Specification, "Unknown" for a pair
    // of base and sub-class without one. Static texts.
    [[nodiscard]] static const char* GetPciSubClassDescription(
        const CPciCommonConfigHeader& header);

    // HeaderType without the multi-function bit.
    [[nodiscard]] std::uint8_t Layout() const {
        return static_cast<std::uint8_t>(m_HeaderType & ~kMultiFunction);
    }
    // A PCI-to-PCI bridge: bit 0 of the header type.
    [[nodiscard]] bool IsBridge() const { return (m_HeaderType & 1U) != 0; }
    [[nodiscard]] std::uint8_t SecondaryBus() const { return m_LayoutPart[0x19 - 0x10]; }
    [[nodiscard]] std::uint8_t PrimaryBus() const { return m_LayoutPart[0x18 - 0x10]; }
    // 0 for every layout but 0.
    [[nodiscard]] std::uint16_t SubsystemVendorId() const { return SubsystemWord(0x2C); }
    [[nodiscard]] std::uint16_t SubsystemId() const { return SubsystemWord(0x2E); }

    std::uint16_t m_VendorId = 0;
    std::uint16_t m_DeviceId = 0;
    std::uint16_t m_Command = 0;
    std::uint16_t m_Status = 0;
    std::uint8_t m_RevisionId = 0;
    std::uint8_t m_ProgrammingInterface = 0;
    std::uint8_t m_SubClass = 0;
    std::uint8_t m_BaseClass = 0;
    std::uint8_t m_CacheLineSize = 0;  // in units of 4 bytes
    std::uint8_t m_LatencyTimer = 0;   // in bus clocks
    std::uint8_t m_HeaderType = 0;
    std::uint8_t m_SelfTest = 0;
    std::array<std::uint8_t, 48> m_LayoutPart{};  // offsets 0x10 to 0x3F

private:
    [[nodiscard]] std::uint16_t SubsystemWord(std::size_t offset) const {
        const std::size_t at = offset - 0x10;
        return Layout() == 0
                   ? static_cast<std::uint16_t>(m_LayoutPart[at] | m_LayoutPart[at + 1] << 8U)
                   : std::uint16_t{0};
    }
};
static_assert(offsetof(CPciCommonConfigHeader, m_BaseClass) == 0x0B &&
              offsetof(CPciCommonConfigHeader, m_HeaderType) == 0x0E &&
              offsetof(CPciCommonConfigHeader, m_LayoutPart) == 0x10 &&
              sizeof(CPciCommonConfigHeader) == 64);

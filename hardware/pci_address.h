// The address of a PCI function: segment, bus, device, function.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/export.h"

// Segments count in 16 bits; wider PCI domains of the kernel have no CPciAddress.
class MORLA_API CPciAddress {
public:
    static constexpr std::uint8_t kInvalid = 0xFF;

    // The invalid address.
    CPciAddress() = default;
    CPciAddress(std::uint16_t segment, std::uint8_t bus, std::uint8_t device, std::uint8_t function)
        : m_Segment(segment), m_Bus(bus), m_Device(device), m_Function(function) {}

    // Bus, device and function all 0xFF, in whatever segment.
    [[nodiscard]] bool IsValid() const {
        return m_Bus != kInvalid || m_Device != kInvalid || m_Function != kInvalid;
    }
    // As /sys writes it: "dddd:bb:dd.f", lower-case hexadecimal.
    [[nodiscard]] std::string ToString() const;
    // The reverse, for exactly that text (the domain in four to eight digits). None when the text
    // is anything else, or when the domain does not fit 16 bits.
    [[nodiscard]] static std::optional<CPciAddress> Parse(std::string_view text);

    // Compares all fields, also of invalid addresses.
    bool operator==(const CPciAddress& other) const = default;
    // By segment, bus, device, function.
    // Deliberate: the invalid address is neither less nor greater than any other, so that a lookup
    // of it in an ordered container finds whichever element the search meets first.
    [[nodiscard]] bool operator<(const CPciAddress& other) const;

    std::uint16_t m_Segment = 0;
    std::uint8_t m_Bus = kInvalid;
    std::uint8_t m_Device = kInvalid;
    std::uint8_t m_Function = kInvalid;
};

#include "hardware/pci_address.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <tuple>

namespace {

// Takes the hexadecimal number of `minimum` to `maximum` digits that `text` begins with, and the
// character behind it unless that is 0.
bool TakeHex(std::string_view& text, std::size_t minimum, std::size_t maximum, char behind,
             std::uint32_t& number) {
    constexpr int kHexadecimal = 16;
    const char* const end = text.data() + text.size();
    const auto [next, error] = std::from_chars(text.data(), end, number, kHexadecimal);
    const auto digits = static_cast<std::size_t>(next - text.data());
    if (error != std::errc() || digits < minimum || digits > maximum) {
        return false;
    }
    text.remove_prefix(digits);
    if (behind == '\0') {
        return text.empty();
    }
    if (text.empty() || text.front() != behind) {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

}  // namespace

std::string CPciAddress::ToString() const {
    std::array<char, sizeof "ffff:ff:ff.ff"> text{};
    std::snprintf(text.data(), text.size(), "%04x:%02x:%02x.%x", m_Segment, m_Bus, m_Device,
                  m_Function);
    return text.data();
}

std::optional<CPciAddress> CPciAddress::Parse(std::string_view text) {
    constexpr std::uint32_t kSegmentMax = 0xFFFF;
    constexpr std::uint32_t kDeviceMax = 31;
    constexpr std::uint32_t kFunctionMax = 7;
    std::uint32_t segment = 0;
    std::uint32_t bus = 0;
    std::uint32_t device = 0;
    std::uint32_t function = 0;
    if (!TakeHex(text, 4, 8, ':', segment) || !TakeHex(text, 2, 2, ':', bus) ||
        !TakeHex(text, 2, 2, '.', device) || !TakeHex(text, 1, 1, '\0', function) ||
        segment > kSegmentMax || device > kDeviceMax || function > kFunctionMax) {
        return std::nullopt;
    }
    return CPciAddress(static_cast<std::uint16_t>(segment), static_cast<std::uint8_t>(bus),
                       static_cast<std::uint8_t>(device), static_cast<std::uint8_t>(function));
}

bool CPciAddress::operator<(const CPciAddress& other) const {
    if (!IsValid() || !other.IsValid()) {
        return false;
    }
    return std::tie(m_Segment, m_Bus, m_Device, m_Function) <
           std::tie(other.m_Segment, other.m_Bus, other.m_Device, other.m_Function);
}

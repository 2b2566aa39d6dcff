#include "hardware/pci_bus_names.h"

#include <charconv>
#include <cstddef>

namespace pci_bus_names {

namespace {

std::optional<std::uint32_t> ParseHex(std::string_view digits) {
    constexpr int kHexadecimal = 16;
    std::uint32_t number = 0;
    const char* const end = digits.data() + digits.size();
    const auto [next, error] = std::from_chars(digits.data(), end, number, kHexadecimal);
    return error == std::errc() && next == end ? std::optional(number) : std::nullopt;
}

}  // namespace

std::optional<Bus> ParseBus(std::string_view name) {
    constexpr std::size_t kBusDigits = 2;
    constexpr std::size_t kDomainDigitsMin = 4;
    constexpr std::size_t kDomainDigitsMax = 8;
    const std::size_t colon = name.find(':');
    const bool hasDomain = colon != std::string_view::npos;
    const std::string_view busText = hasDomain ? name.substr(colon + 1) : name;
    const std::optional<std::uint32_t> bus = ParseHex(busText);
    if (busText.size() != kBusDigits || !bus ||
        (hasDomain && (colon < kDomainDigitsMin || colon > kDomainDigitsMax))) {
        return std::nullopt;
    }
    const std::optional<std::uint32_t> domain = hasDomain ? ParseHex(name.substr(0, colon)) : 0;
    if (!domain) {
        return std::nullopt;
    }
    return Bus{*domain, static_cast<std::uint8_t>(*bus)};
}

std::optional<Device> ParseDevice(std::string_view name) {
    constexpr std::size_t kDot = 2;
    constexpr std::uint32_t kDeviceMax = 31;
    constexpr std::uint32_t kFunctionMax = 7;
    if (name.size() != kDot + 2 || name[kDot] != '.') {
        return std::nullopt;
    }
    const std::optional<std::uint32_t> device = ParseHex(name.substr(0, kDot));
    const std::optional<std::uint32_t> function = ParseHex(name.substr(kDot + 1));
    if (!device || !function || *device > kDeviceMax || *function > kFunctionMax) {
        return std::nullopt;
    }
    return Device{static_cast<std::uint8_t>(*device), static_cast<std::uint8_t>(*function)};
}

}  // namespace pci_bus_names

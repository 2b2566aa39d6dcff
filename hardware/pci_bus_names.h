// Pure reading of the names in the kernel's tree of PCI functions: bus directories and their files.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace pci_bus_names {

struct Bus {
    std::uint32_t Domain = 0;
    std::uint8_t Number = 0;
};
struct Device {
    std::uint8_t Number = 0;    // 0 to 31
    std::uint8_t Function = 0;  // 0 to 7
};

// "bb", a bus of domain 0, or "dddd:bb" with four to eight digits of the domain, all hexadecimal.
// None when the name is anything else, also when only its begin fits.
[[nodiscard]] std::optional<Bus> ParseBus(std::string_view name);
// "dd.f"
[[nodiscard]] std::optional<Device> ParseDevice(std::string_view name);

}  // namespace pci_bus_names

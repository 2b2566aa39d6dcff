// The names in the kernel's tree of PCI functions, and what a configuration header says.
//
// Input: the name of a bus directory, a line; that of a file in it, a line; the file.
#include <cctype>
#include <cstdio>
#include <string>

#include "base/byte_view.h"
#include "fuzz/input.h"
#include "hardware/pci_address.h"
#include "hardware/pci_bus_names.h"
#include "hardware/pci_common_config_header.h"

namespace {

std::string LowerCase(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return lower;
}

// A name that is taken is the one that its numbers give.
void CheckNames(std::string_view busName, std::string_view deviceName) {
    const auto bus = pci_bus_names::ParseBus(busName);
    const auto device = pci_bus_names::ParseDevice(deviceName);
    char text[32] = {};
    if (bus) {
        const auto digits = static_cast<int>(busName.size()) - 3;
        if (digits < 0) {
            (void)std::snprintf(text, sizeof text, "%02x", bus->Number);
        } else {
            (void)std::snprintf(text, sizeof text, "%0*x:%02x", digits, bus->Domain, bus->Number);
        }
        fuzz::Require(LowerCase(busName) == text, "a bus is what its directory says");
    }
    if (device) {
        (void)std::snprintf(text, sizeof text, "%02x.%x", device->Number, device->Function);
        fuzz::Require(LowerCase(deviceName) == text, "a device is what its file says");
    }
    if (deviceName.find(':') != std::string_view::npos) {
        return;  // the line's end would be taken for a colon of the address
    }
    const std::string whole =
        (busName.size() == 2 ? "0000:" : "") + std::string(busName) + ':' + std::string(deviceName);
    const bool isWhole = bus && device && bus->Domain <= 0xFFFF;
    fuzz::Require(CPciAddress::Parse(whole).has_value() == isWhole, "both readers agree");
}

void CheckHeader(std::string_view file) {
    CPciCommonConfigHeader header;
    if (!CByteView(file).Copy(0, header)) {
        return;
    }
    const auto byte = [file](std::size_t at) {
        return static_cast<unsigned char>(file[at]);
    };
    const bool isDevice = (byte(0x0E) & 0x7F) == 0;
    fuzz::Require(header.m_VendorId == byte(0) + 256 * byte(1), "the vendor's number");
    fuzz::Require(header.SubsystemId() == (isDevice ? byte(0x2E) + 256 * byte(0x2F) : 0),
                  "the subsystem's number");
    fuzz::Require(header.SecondaryBus() == byte(0x19) && header.PrimaryBus() == byte(0x18),
                  "the numbers of the buses");
    const std::string_view base = CPciCommonConfigHeader::GetPciBaseClassDescription(header);
    const std::string_view sub = CPciCommonConfigHeader::GetPciSubClassDescription(header);
    fuzz::Require(!base.empty() && !sub.empty(), "every class has a name");
    fuzz::Require((byte(0x0B) >= 1 && byte(0x0B) <= 0x11) == (base != "Unknown" && base != "Other"),
                  "base classes up to 0x11 are known");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view input = fuzz::Text(data, size);
    const std::string_view busName = fuzz::TakeLine(input);
    const std::string_view deviceName = fuzz::TakeLine(input);
    CheckNames(busName, deviceName);
    CheckHeader(input);
    return 0;
}

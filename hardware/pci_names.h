// The names of a PCI function: from Adapter.ini, else from pci.ids, else from its class.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "hardware/pci_common_config_header.h"
#include "hardware/pci_ids.h"
#include "os/ini_file.h"

// Where a name comes from.
enum class PciNameSource : std::uint8_t {
    kNone,       // there is no name
    kIniFile,    // /etc/quorvat/Adapter.ini
    kPciIds,     // the system's pci.ids
    kClassName,  // what kind of device it is
};

// Without control characters; other bytes are as the file has them, so it need not be UTF-8.
struct PciName {
    std::string Text;
    PciNameSource Source = PciNameSource::kNone;
};

struct PciNames {
    PciName Vendor;
    PciName Device;  // never without a text
    PciName SubsystemVendor;
    PciName Subsystem;  // of the card
    PciName Interface;  // of the programming interface, from pci.ids only
};

// The vendor and the device of the card that a function is on.
struct PciSubsystemId {
    std::uint16_t Vendor = 0;
    std::uint16_t Device = 0;
    bool operator==(const PciSubsystemId&) const = default;
};

// Looks for the two files once, so one object serves one scan. Not for several threads at once.
// docs/hardware.md has the format of Adapter.ini.
class CPciNameReader {
public:
    CPciNameReader();

    [[nodiscard]] PciNames Read(const CPciCommonConfigHeader& header,
                                const std::optional<PciSubsystemId>& subsystem);

private:
    // The first of these sections that has the key gives the name.
    [[nodiscard]] PciName ReadIni(std::initializer_list<std::string> sections, const char* key);

    CIniFile m_Ini;
    const CPciIds& m_Ids;
};

// What a PCI function offers to the outside: network interfaces and SCSI hosts, read from /sys.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "hardware/pci_address.h"

struct NetworkInterface {
    std::string Name;                       // as the kernel has it, "eth0"
    std::optional<std::string> MacAddress;  // "02:fc:00:00:00:01"; 20 bytes of an InfiniBand port
    // Whether it is the card's own address; false when it was set later, as a bond does it.
    std::optional<bool> IsOwnMacAddress;
    std::optional<std::string> State;       // "up", "down", "dormant", ...; as the kernel says it
    std::optional<std::uint32_t> SpeedMbs;  // of the link, Mbit/s; none without a link
    std::optional<std::string> Driver;      // of its device
    bool IsVirtual = false;                 // made by software: lo, bridges, bonds, VLANs
};

struct ScsiHost {
    std::uint32_t Number = 0;
    std::optional<std::string> Driver;     // as the host names itself, "mpt3sas"
    std::optional<std::uint64_t> NodeWwn;  // Fibre Channel node; address of a SAS controller
    std::optional<std::uint64_t> PortWwn;  // of a Fibre Channel port
    std::optional<std::string> PortState;  // of a Fibre Channel port: "Online", "Linkdown", ...
};

// Something and the PCI function that it hangs on, if any.
template <typename Item>
struct OnPci {
    std::optional<CPciAddress> Address;
    Item Value;
};

// Each in the order of its names. What went away meanwhile is left out. Network interfaces are
// those of the caller's network namespace.
[[nodiscard]] std::vector<OnPci<NetworkInterface>> ReadNetworkInterfaces();
[[nodiscard]] std::vector<OnPci<ScsiHost>> ReadScsiHosts();

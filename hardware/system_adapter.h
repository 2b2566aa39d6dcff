// An adapter of the system: a PCI function, or a network interface; its names, ports, resources.
//
// docs/hardware.md tells where each field comes from. What cannot be read is absent (an empty
// optional), never zero.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/export.h"
#include "hardware/adapter_ports.h"
#include "hardware/pci_address.h"
#include "hardware/pci_config_list.h"
#include "hardware/pci_names.h"
#include "hardware/resource_descriptor.h"

// A PCI Express link.
struct PciLink {
    std::optional<std::uint32_t> SpeedMts;  // megatransfers a second and lane: 2500, 5000, 8000 ...
    std::optional<std::uint32_t> Lanes;
};

// What the configuration space says that a function is.
struct PciIdentity {
    std::uint16_t VendorId = 0;
    std::uint16_t DeviceId = 0;
    std::uint8_t BaseClass = 0;
    std::uint8_t SubClass = 0;
    std::uint8_t Interface = 0;  // programming interface
    std::uint8_t Revision = 0;
    std::optional<PciSubsystemId> Subsystem;  // none where its vendor is 0 or 0xFFFF
    const char* BaseClassName = "";           // static texts
    const char* SubClassName = "";
};

// A record. Default-constructed, it is no adapter: invalid address, no texts; constructing it calls
// nothing, so that static instances may exist.
class MORLA_API CSystemAdapter {
public:
    enum class EKind : std::uint8_t {
        kPciFunction,
        // A network interface as an adapter of its own, found by its name. Fields of the PCI
        // function are those of the one that it hangs on, if any, except for the resources and the
        // SCSI hosts; m_Interfaces holds just this interface.
        kNetworkInterface,
    };

    // No adapter; made at program start, for whoever needs something to compare with or point at.
    static const CSystemAdapter kNone;

    // Fills `adapters` anew: the PCI functions by their addresses, then the network interfaces by
    // their names. Those made by software (lo, bridges, bonds, VLANs) are among them only
    // `withVirtualInterfaces`. Puts names into the functions, too. A function that has gone since
    // the list was made is left out. False when no adapter was found.
    [[nodiscard]] static bool ScanSystemAdapters(std::vector<CSystemAdapter>& adapters,
                                                 CPciConfigList& pciFunctions,
                                                 bool withVirtualInterfaces);

    // "PCI\VEN_8086&DEV_1533&SUBSYS_1533103C&REV_03\0000:03:00.0": upper-case hexadecimal, the
    // subsystem's device before its vendor, and left out when there is none.
    [[nodiscard]] static std::string MakeDeviceId(const PciIdentity& identity,
                                                  const CPciAddress& address);

    [[nodiscard]] std::vector<ResourceDescriptor> GetResources(ResourceKind kind) const;
    // Of the first SCSI host that has one.
    [[nodiscard]] std::optional<std::uint64_t> GetNodeWwn() const;
    [[nodiscard]] bool IsPciFunction() const { return m_Kind == EKind::kPciFunction; }

    EKind m_Kind = EKind::kPciFunction;
    std::string m_DeviceId;  // unique among the adapters of one scan; see MakeDeviceId
    CPciAddress m_Address;   // invalid for an interface that is not on PCI

    std::optional<PciIdentity> m_Pci;  // none for an interface that is not on PCI
    PciName m_Name;                    // of the device; of an interface: its own name in front
    PciName m_VendorName;
    PciName m_SubsystemVendorName;
    PciName m_SubsystemName;
    PciName m_InterfaceName;  // of the programming interface

    std::optional<std::string> m_Driver;  // none when no driver is bound
    std::optional<std::string> m_Module;  // none when the driver is built into the kernel
    std::optional<std::uint32_t> m_NumaNode;
    PciLink m_Link;
    PciLink m_LinkMax;
    std::vector<ResourceDescriptor> m_Resources;
    std::vector<NetworkInterface> m_Interfaces;
    std::vector<ScsiHost> m_ScsiHosts;

    // As in the PCI function list.
    std::int32_t m_SlotNumber = CPciSlotData::kNoSlot;
    std::string m_SlotDesignation;
    std::string m_SlotReason;
};

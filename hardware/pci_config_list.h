// The PCI functions of the machine, each with the slot that it sits in.
//
// Names that differ by one letter: PciSlotData is a row of the firmware's slot table, CPciSlotData
// is a PCI function (here), GetPciSlotData is a query of the device scan.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "base/export.h"
#include "hardware/pci_address.h"
#include "hardware/pci_common_config_header.h"

// One PCI function.
class CPciSlotData {
public:
    static constexpr std::int32_t kNoSlot = -1;

    CPciAddress m_Address;
    CPciCommonConfigHeader m_Header;
    std::int32_t m_SlotNumber = kNoSlot;
    // Filled by the adapter scan; empty until then.
    std::string m_Name;        // of the device
    std::string m_VendorName;  // of its maker
    // What the firmware calls the slot: its bytes, whatever they are. Empty when it says nothing.
    std::string m_SlotDesignation;
    // Why the function has its slot, or has none: one line for people. Empty without slot mapping.
    std::string m_SlotReason;
};

class MORLA_API CPciConfigList : public std::map<CPciAddress, CPciSlotData> {
public:
    // Reads all functions of the machine into `list`, which keeps what it held at addresses where
    // no function is found; with
    // `withSlotMapping` their slots too. False when the function list cannot be read. Belongs to
    // one thread at a time, as the list does.
    [[nodiscard]] static bool ScanPciSlots(CPciConfigList& list, bool withSlotMapping);
};

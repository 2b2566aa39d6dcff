#include "hardware/pci_config_list.h"

#include <cstring>

#include "hardware/device_bus_io.h"
#include "hardware/pci_slot_assignment.h"
#include "trace/debug.h"

namespace {

// False, with a trace line, for a function that does not answer: it is gone, or never was there.
bool ReadHeader(CDeviceBusIo& reader, const CPciAddress& address, CPciCommonConfigHeader& header) {
    unsigned char bytes[sizeof header]{};
    unsigned int size = sizeof bytes;
    if (reader.GetPciConfigSpace(address.m_Segment, address.m_Bus, address.m_Device,
                                 address.m_Function, 0, size, bytes)) {
        std::memcpy(&header, bytes, sizeof header);
    }
    if (header.m_VendorId == 0 || header.m_VendorId == CPciCommonConfigHeader::kNoFunction ||
        header.m_DeviceId == 0) {
        Debug.Print(1,
                    "\nCPciConfigList      : Invalid PCI device configuration! (Vendor: 0x%X "
                    "Device: 0x%X)",
                    header.m_VendorId, header.m_DeviceId);
        return false;
    }
    return true;
}

void TraceFunction(const CPciAddress& address, const CPciCommonConfigHeader& header) {
    if (!Debug.IsLevelActive(3)) {
        return;
    }
    Debug.Print(
        3,
        "\nCPciConfigList      : ## Found PCI Device (Segment %d Bus %d, Device %d Function "
        "%d) ##",
        address.m_Segment, address.m_Bus, address.m_Device, address.m_Function);
    Debug.Print(3, "\nCPciConfigList      :    Header type   : 0x%02X", header.m_HeaderType);
    if (header.Layout() == 0) {
        Debug.Print(3, "\nCPciConfigList      :    Vendor        : 0x%04X (Subsystem: 0x%04X)",
                    header.m_VendorId, header.SubsystemVendorId());
        Debug.Print(3, "\nCPciConfigList      :    Device        : 0x%04X (Subsystem: 0x%04X)",
                    header.m_DeviceId, header.SubsystemId());
    } else {
        Debug.Print(3, "\nCPciConfigList      :    Vendor        : 0x%04X", header.m_VendorId);
        Debug.Print(3, "\nCPciConfigList      :    Device        : 0x%04X", header.m_DeviceId);
    }
    Debug.Print(3, "\nCPciConfigList      :    Base class    : 0x%02X (%s)", header.m_BaseClass,
                CPciCommonConfigHeader::GetPciBaseClassDescription(header));
    Debug.Print(3, "\nCPciConfigList      :    Sub class     : 0x%02X (%s)", header.m_SubClass,
                CPciCommonConfigHeader::GetPciSubClassDescription(header));
}

}  // namespace

bool CPciConfigList::ScanPciSlots(CPciConfigList& list, bool withSlotMapping) {
    CDeviceBusIo reader;
    CPciSlotAssignment slots;
    int count = 0;
    const CDeviceBusIoBase::PciDeviceNames* const names = reader.FindPciDeviceNames();
    if (names != nullptr) {
        for (const auto& [address, path] : *names) {
            CPciSlotData function;
            function.m_Address = address;
            if (!ReadHeader(reader, address, function.m_Header)) {
                continue;
            }
            TraceFunction(address, function.m_Header);
            if (withSlotMapping) {
                slots.Assign(function);
            }
            list[address] = function;
            ++count;
        }
    }
    Debug.Print(2, "\nCPciConfigList      : %d PCI devices detected!", count);
    return names != nullptr;
}

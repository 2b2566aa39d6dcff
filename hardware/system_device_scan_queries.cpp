// The getters of a device scan.
#include <algorithm>
#include <stdexcept>

#include "hardware/drive_matching.h"
#include "hardware/scan_access.h"
#include "hardware/system_device_scan.h"
#include "trace/debug.h"

namespace {

constexpr unsigned int kAccessMs = 90000;
constexpr unsigned short kAnyId = 0xFFFF;

// A copy of the element at the index.
template <typename Element>
bool CopyElement(const std::vector<Element>& list, int index, Element& element,
                 CScanAccess& access) {
    if (index >= static_cast<int>(list.size())) {
        return false;
    }
    try {
        element = list.at(static_cast<std::size_t>(index));
    } catch (const std::out_of_range&) {
        access.LeaveEventTaken();  // Deliberate: a negative index locks everyone out
        throw;
    }
    return true;
}

bool CopyFound(const CSystemAdapter* found, CSystemAdapter& adapter) {
    if (found == nullptr) {
        return false;
    }
    adapter = *found;
    return true;
}

bool HasIds(const CPciCommonConfigHeader& header, unsigned short deviceId, unsigned short vendorId,
            unsigned short subDeviceId, unsigned short subVendorId) {
    return header.m_VendorId == vendorId && header.m_DeviceId == deviceId &&
           (subDeviceId == kAnyId || subDeviceId == header.SubsystemId()) &&
           (subVendorId == kAnyId || subVendorId == header.SubsystemVendorId());
}

}  // namespace

bool CSystemDeviceScan::TakeAccess(CScanAccess& access, const char* getter) {
    if (access.Take(kAccessMs)) {
        return true;
    }
    Debug.Print(1, "\nCSystemDeviceScan   : WARNING! %s(): Access timeout!\n", getter);
    return false;
}

int CSystemDeviceScan::GetAdapterCount() {
    CScanAccess access(m_AccessEvent, m_ListsLock);
    return TakeAccess(access, "GetAdapterCount") ? static_cast<int>(m_Adapters.size()) : 0;
}

int CSystemDeviceScan::GetVolumeCount() {
    CScanAccess access(m_AccessEvent, m_ListsLock);
    return TakeAccess(access, "GetVolumeNumber") ? static_cast<int>(m_Volumes.size()) : 0;
}

int CSystemDeviceScan::GetDriveCount() {
    CScanAccess access(m_AccessEvent, m_ListsLock);
    (void)TakeAccess(access, "GetDriveCount");
    return 0;
}

int CSystemDeviceScan::GetPartitionCount() {
    CScanAccess access(m_AccessEvent, m_ListsLock);
    (void)TakeAccess(access, "GetPartitionCount");
    return 0;
}

bool CSystemDeviceScan::GetAdapter(CSystemAdapter& adapter, int index) {
    CScanAccess access(m_AccessEvent, m_ListsLock);
    return TakeAccess(access, "GetAdapter") && CopyElement(m_Adapters, index, adapter, access);
}

bool CSystemDeviceScan::GetVolume(CSystemVolume& volume, int index) {
    CScanAccess access(m_AccessEvent, m_ListsLock);
    return TakeAccess(access, "GetVolume") && CopyElement(m_Volumes, index, volume, access);
}

bool CSystemDeviceScan::GetDrive(CSystemDrive& /*drive*/, int /*index*/) {
    CScanAccess access(m_AccessEvent, m_ListsLock);
    (void)TakeAccess(access, "GetDrive");
    return false;
}

bool CSystemDeviceScan::GetPartition(CSystemPartition& /*partition*/, int /*index*/) {
    CScanAccess access(m_AccessEvent, m_ListsLock);
    (void)TakeAccess(access, "GetPartition");
    return false;
}

bool CSystemDeviceScan::FindAdapter(CSystemAdapter& adapter, const char* deviceId) {
    CScanAccess access(m_AccessEvent, m_ListsLock);
    return TakeAccess(access, "FindAdapter") && m_Adapters.FindAdapter(adapter, deviceId);
}

bool CSystemDeviceScan::FindAdapter(CSystemAdapter& adapter, const CPciAddress& address) {
    CScanAccess access(m_AccessEvent, m_ListsLock);
    if (!TakeAccess(access, "FindAdapter")) {
        return false;
    }
    if (m_Adapters.GetAdapter(adapter, address)) {
        Debug.Print(2,
                    "\nCSystemDeviceScan   : Found adapter at PCI address (Bus %d Device %d "
                    "Function %d): %s",
                    address.m_Bus, address.m_Device, address.m_Function,
                    adapter.m_Name.Text.c_str());
        return true;
    }
    Debug.Print(
        2,
        "\nCSystemDeviceScan   : No adapter found at PCI address (Bus %d Device %d Function "
        "%d)!",
        address.m_Bus, address.m_Device, address.m_Function);
    return false;
}

bool CSystemDeviceScan::GetHostAdapter(CSystemAdapter& adapter, const CSystemDrive& drive) {
    CScanAccess access(m_AccessEvent, m_ListsLock);
    return TakeAccess(access, "GetHostAdapter") &&
           CopyFound(drive_matching::FindHostAdapter(m_Adapters, drive), adapter);
}

bool CSystemDeviceScan::GetHostDrives(std::vector<CSystemDrive>& drives,
                                      const CSystemAdapter& adapter) {
    CScanAccess access(m_AccessEvent, m_ListsLock);
    if (!TakeAccess(access, "GetHostDrive")) {
        return false;
    }
    drives = adapter.m_Address.IsValid()
                 ? drive_matching::FindHostDrives(m_Drives, adapter.m_Address)
                 : m_Drives;
    return !drives.empty();
}

bool CSystemDeviceScan::GetDiskPartitions(std::vector<CSystemPartition>& partitions,
                                          const CSystemDrive& drive) {
    CScanAccess access(m_AccessEvent, m_ListsLock);
    if (!TakeAccess(access, "GetPartition")) {
        return false;
    }
    partitions = drive_matching::FindDiskPartitions(m_Drives, drive);
    return !partitions.empty();
}

bool CSystemDeviceScan::GetParentAdapter(const CSystemAdapter& /*adapter*/,
                                         CSystemAdapter& /*parent*/) {
    return false;
}

int CSystemDeviceScan::GetNumberPciBusses() {
    const CCriticalSectionGuard guard(m_PciLock);
    if (m_PciFunctions.empty()) {
        Debug.Print(3, "\nCSystemDeviceScan   : %d PCI busses found", 0);
        return 0;
    }
    Debug.Print(3, "\nCSystemDeviceScan   : %d PCI bus devices found",
                static_cast<int>(m_PciFunctions.size()));
    int highest = 0;
    for (const auto& [address, function] : m_PciFunctions) {
        Debug.Print(3, "\nCSystemDeviceScan   : Check device %02d at bus no %d", address.m_Device,
                    address.m_Bus);
        if (address.m_Bus > highest) {
            highest = address.m_Bus;
            Debug.Print(3, "\nCSystemDeviceScan   : Found higher PCI bus no %d", highest);
        }
    }
    Debug.Print(3, "\nCSystemDeviceScan   : %d PCI busses found", highest + 1);
    return highest + 1;
}

bool CSystemDeviceScan::GetPciSlotConfig(CPciConfigList& list) {
    const CCriticalSectionGuard guard(m_PciLock);
    list = m_PciFunctions;
    return true;
}

bool CSystemDeviceScan::GetPciSlotData(CPciSlotData& function, const CPciAddress& address) {
    const CCriticalSectionGuard guard(m_PciLock);
    const auto found = m_PciFunctions.find(address);
    if (found == m_PciFunctions.end()) {
        return false;
    }
    function = found->second;
    return true;
}

bool CSystemDeviceScan::GetPciSlotData(CPciSlotData& function, unsigned short deviceId,
                                       unsigned short vendorId, unsigned short subDeviceId,
                                       unsigned short subVendorId) {
    const CCriticalSectionGuard guard(m_PciLock);
    Debug.Print(4,
                "\nCPciConfigList      : Find PCI slot data for Device ID 0x%04X Vendor ID 0x%04X "
                "SubDevice ID 0x%04X SubVendor ID 0x%04X",
                deviceId, vendorId, subDeviceId, subVendorId);
    const auto found =
        std::find_if(m_PciFunctions.begin(), m_PciFunctions.end(), [&](const auto& entry) {
            return HasIds(entry.second.m_Header, deviceId, vendorId, subDeviceId, subVendorId);
        });
    if (found == m_PciFunctions.end()) {
        return false;
    }
    function = found->second;
    return true;
}

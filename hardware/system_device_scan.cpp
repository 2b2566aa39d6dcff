#include "hardware/system_device_scan.h"

#include <cxxabi.h>

#include "base/cancellation.h"
#include "hardware/scan_access.h"
#include "trace/debug.h"

namespace {

constexpr unsigned int kStopUpdateMs = 5000;

}  // namespace

// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): shared by design
CSystemDeviceScan CSystemDeviceScan::Shared;

CSystemDeviceScan::CSystemDeviceScan()
    : m_AccessEvent(true, false, nullptr),
      m_UpdateThread(true),
      m_UpdateEnded(true, true, nullptr),
      m_StopEvent(false, true, nullptr) {}

CSystemDeviceScan::CSystemDeviceScan(const CSystemDeviceScan& source) : CSystemDeviceScan() {
    ClassCopy(source);
}

CSystemDeviceScan& CSystemDeviceScan::operator=(const CSystemDeviceScan& source) {
    ClassCopy(source);
    return *this;
}

void CSystemDeviceScan::ClassCopy(const CSystemDeviceScan& source) {
    Debug.Print(4, "\nCSystemDeviceScan   : -> ClassCopy()");
    if (this != &source) {
        const std::scoped_lock lists(m_ListsLock, source.m_ListsLock);
        m_Adapters = source.m_Adapters;
        m_Drives = source.m_Drives;
        m_Volumes = source.m_Volumes;
        m_DriveIndex = source.m_DriveIndex;
        CPciConfigList functions;
        {
            const CCriticalSectionGuard guard(source.m_PciLock);
            functions = source.m_PciFunctions;
        }
        const CCriticalSectionGuard guard(m_PciLock);
        m_PciFunctions = std::move(functions);
    }
    Debug.Print(4, "\nCSystemDeviceScan   : <- ClassCopy()");
}

int CSystemDeviceScan::ScanDevices(int flags, bool startUpdateThread, unsigned int timeoutMs) {
    return ScanHardware(flags, startUpdateThread, timeoutMs, nullptr);
}

int CSystemDeviceScan::RescanHardware(unsigned int timeoutMs, const _ScanOptions* options) {
    return ScanHardware(kScanAll, IsUpdateThreadRunning(), timeoutMs, options);
}

int CSystemDeviceScan::ScanHardware(int flags, bool startUpdateThread, unsigned int timeoutMs,
                                    const _ScanOptions* options) {
    const int shownMs = static_cast<int>(timeoutMs);
    Debug.Print(4, "\n\nCSystemDeviceScan   : -> ScanHardware()");
    Debug.Print(3,
                "\n\nCSystemDeviceScan   : Waiting %d msec for pending hardware scan operation ...",
                shownMs);
    CScanAccess access(m_AccessEvent, m_ListsLock);
    if (!access.Take(timeoutMs)) {
        Debug.Print(1,
                    "\nCSystemDeviceScan   : ## WARNING! Time out waiting for end of pending "
                    "hardware scan! (%d msec)\n",
                    shownMs);
        return -1;
    }
    try {
        m_ScanFlags = static_cast<unsigned int>(flags);
        m_ScanOptions = EffectiveScanOptions(options);
        Scan(static_cast<unsigned int>(flags), startUpdateThread);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        Debug.Print(1, "\n\nCSystemDeviceScan   : ERROR! EXCEPTION in ScanHardware()!");
        return -1;
    }
    access.GiveBack();
    Debug.Print(2, "\nCSystemDeviceScan   : ... hardware scan completed (%s)!\n\n", "OK");
    Debug.Print(4, "\n\nCSystemDeviceScan   : <- ScanHardware()");
    return 0;
}

// Who calls has access.
void CSystemDeviceScan::Scan(unsigned int flags, bool startUpdateThread) {
    Debug.Print(1, "\n\nCSystemDeviceScan   : Start hardware rescan ...");
    StopUpdateThread(kStopUpdateMs);
    if ((flags & kScanAdapters) == 0) {
        Debug.Print(2, "\nCSystemDeviceScan   : Scan of system adapters skipped!");
    } else if (!m_Terminated) {
        ScanPciFunctions();
        if (!m_Terminated) {
            (void)ScanSystemAdapters();
        }
    }
    if ((flags & kScanDrives) != 0 && !m_Terminated) {
        ScanSystemDrives();
    } else {
        Debug.Print(2, "\nCSystemDeviceScan   : Scan of system drives skipped!");
    }
    if ((flags & kScanVolumes) != 0 && !m_Terminated) {
        ScanSystemVolumes();
    } else {
        Debug.Print(2, "\nCSystemDeviceScan   : Scan of system volumes skipped!");
    }
    if (startUpdateThread) {
        Debug.Print(3, "\nCSystemDeviceScan   : Start update thread (partition check)");
        StartUpdateThread();
    } else {
        Debug.Print(3, "\nCSystemDeviceScan   : Start update thread (partition check) skipped");
    }
}

void CSystemDeviceScan::ScanPciFunctions() {
    Debug.Print(3, "\nCSystemDeviceScan   : Scan PCI slot data ...");
    const CCancellationHold hold;
    const CCriticalSectionGuard guard(m_PciLock);
    m_PciFunctions.clear();
    try {
        (void)CPciConfigList::ScanPciSlots(m_PciFunctions, true);
    } catch (...) {
        // What was read until then stays.
    }
}

bool CSystemDeviceScan::ScanSystemAdapters() {
    Debug.Print(3, "\nCSystemDeviceScan   : Scan system devices ...");
    const CCancellationHold hold;
    const CCriticalSectionGuard guard(m_PciLock);
    m_Adapters.clear();
    return CSystemAdapter::ScanSystemAdapters(m_Adapters, m_PciFunctions, false);
}

void CSystemDeviceScan::ScanSystemDrives() {
    Debug.Print(3, "\nCSystemDeviceScan   : Scan system drives ...");
    const CCancellationHold hold;
    m_DriveIndex.clear();
    m_Drives.clear();
    (void)CSystemDrive::ScanSystemDrives(m_Drives, &m_ScanOptions);
    for (std::size_t i = 0; i < m_Drives.size(); ++i) {
        m_DriveIndex[m_Drives[i].m_Name] = i;
    }
}

bool CSystemDeviceScan::ScanSystemPartitions() {
    Debug.Print(3, "\nCSystemDeviceScan   : Scan system partitions ...");
    return true;
}

void CSystemDeviceScan::ScanSystemVolumes() {
    const CCancellationHold hold;
    m_Volumes.clear();
    (void)CSystemVolume::ScanSystemVolumes(m_Volumes, &m_ScanOptions);
}

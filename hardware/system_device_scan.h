// The hardware inventory: PCI functions with their slots, adapters, drives and mounted volumes.
//
// Files of the class: system_device_scan (scans, copies), system_device_scan_queries (getters),
// system_device_scan_update (update thread, end).
//
// Threads: every operation may be called from any thread. Scans and getters go one after another
// through the access event; a getter waits 90 s at most and then answers false or 0 with a warning
// in the trace. The PCI functions have a recursive lock of their own, so GetNumberPciBusses,
// GetPciSlotConfig and GetPciSlotData wait for no scan but that of PCI functions and adapters.
// Order: access event, then the lock of the lists, then the PCI lock.
//
// Getters copy out; their output is unchanged when they return false.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "base/critical_section.h"
#include "base/export.h"
#include "hardware/pci_config_list.h"
#include "hardware/scan_options.h"
#include "hardware/system_adapter_list.h"
#include "hardware/system_drive.h"
#include "hardware/system_partition.h"
#include "hardware/system_volume.h"
#include "os/event.h"
#include "os/thread.h"

class CScanAccess;

class MORLA_API CSystemDeviceScan {
public:
    // Bits of the flags of a scan.
    enum ScanFlags : unsigned int {
        kScanAdapters = 0x1,  // PCI slot data and system adapters
        kScanDrives = 0x2,
        kAllowUpdateThread = 0x4,
        kScanVolumes = 0x8,
    };
    static constexpr int kScanAll = -1;

    // The inventory that the modules of a process share; made at program start, empty until its
    // first scan.
    // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): shared by design
    static CSystemDeviceScan Shared;

    CSystemDeviceScan();
    CSystemDeviceScan(const CSystemDeviceScan& source);
    CSystemDeviceScan& operator=(const CSystemDeviceScan& source);
    // Ends the update thread and waits until it has left.
    ~CSystemDeviceScan();
    // Copies the lists, and nothing else. Waits for a scan of either object.
    void ClassCopy(const CSystemDeviceScan& source);

    // Scans what `flags` (ScanFlags, or kScanAll) ask for and ends or starts the update thread.
    // Waits at most `timeoutMs` milliseconds for a scan that is under way. `options` (null: the
    // defaults) also hold for the update thread's scans. 0, or -1: timed out, or an exception.
    // After Terminate it scans nothing and returns 0.
    [[nodiscard]] int ScanHardware(int flags, bool startUpdateThread, unsigned int timeoutMs,
                                   const _ScanOptions* options);
    [[nodiscard]] int ScanDevices(int flags, bool startUpdateThread, unsigned int timeoutMs);
    // Scans everything; the update thread runs on if it runs now.
    [[nodiscard]] int RescanHardware(unsigned int timeoutMs, const _ScanOptions* options);
    // Scans the volumes again. False when it gets no access within 90 s.
    bool ScanVolumes();

    [[nodiscard]] int GetAdapterCount();
    [[nodiscard]] int GetVolumeCount();
    // Deliberate: these two are 0 whatever was scanned.
    [[nodiscard]] int GetDriveCount();
    [[nodiscard]] int GetPartitionCount();
    // False at or behind the count.
    // Deliberate: a negative index throws std::out_of_range and leaves the access event taken.
    [[nodiscard]] bool GetAdapter(CSystemAdapter& adapter, int index);
    [[nodiscard]] bool GetVolume(CSystemVolume& volume, int index);
    // Deliberate: these two are false whatever was scanned. GetHostDrives gives drives.
    [[nodiscard]] bool GetDrive(CSystemDrive& drive, int index);
    [[nodiscard]] bool GetPartition(CSystemPartition& partition, int index);

    // The first adapter with that device-ID text, in upper or lower case. Null or "": false.
    [[nodiscard]] bool FindAdapter(CSystemAdapter& adapter, const char* deviceId);
    [[nodiscard]] bool FindAdapter(CSystemAdapter& adapter, const CPciAddress& address);
    [[nodiscard]] bool GetHostAdapter(CSystemAdapter& adapter, const CSystemDrive& drive);
    // The drives behind an adapter; those of all adapters for one with the invalid address.
    [[nodiscard]] bool GetHostDrives(std::vector<CSystemDrive>& drives,
                                     const CSystemAdapter& adapter);
    [[nodiscard]] bool GetDiskPartitions(std::vector<CSystemPartition>& partitions,
                                         const CSystemDrive& drive);
    // No effect, false.
    [[nodiscard]] bool GetParentAdapter(const CSystemAdapter& adapter, CSystemAdapter& parent);

    // The highest bus number and one; 0 without PCI functions.
    [[nodiscard]] int GetNumberPciBusses();
    [[nodiscard]] bool GetPciSlotConfig(CPciConfigList& list);
    [[nodiscard]] bool GetPciSlotData(CPciSlotData& function, const CPciAddress& address);
    // The first function, in the order of addresses, with these ids. The subsystem ids
    // 0xFFFF stand for every one.
    [[nodiscard]] bool GetPciSlotData(CPciSlotData& function, unsigned short deviceId,
                                      unsigned short vendorId, unsigned short subDeviceId,
                                      unsigned short subVendorId);

    // Starts the thread that scans the volumes every 60 s, when the last scan's flags allowed it
    // and it does not run. Always true.
    bool StartUpdateThread();
    // Ends it. False when it took longer than `timeoutMs` milliseconds; it is killed in any case.
    bool StopUpdateThread(unsigned int timeoutMs);
    // No scan runs afterwards. Waits at most `timeoutMs` milliseconds for the update thread, and as
    // long for who is inside.
    void Terminate(unsigned int timeoutMs);

private:
    class CUpdateEndMark;

    [[nodiscard]] bool TakeAccess(CScanAccess& access, const char* getter);
    void Scan(unsigned int flags, bool startUpdateThread);
    void ScanPciFunctions();
    bool ScanSystemAdapters();
    void ScanSystemDrives();
    bool ScanSystemPartitions();
    void ScanSystemVolumes();
    bool ScanVolumesUnless(const std::atomic<bool>* giveUp);
    [[nodiscard]] bool IsUpdateThreadRunning();
    void KillUpdateThread(std::uint64_t start);
    void WatchPartitions();
    bool WaitForNextUpdate();
    // NOLINTNEXTLINE(readability-identifier-naming): the thread entry's given name
    static void* LaunchAsThread_WatchPartitions(void* deviceScan);

    // Guarded by m_ListsLock, which is held by who has the access event.
    CSystemAdapterList m_Adapters;
    std::vector<CSystemDrive> m_Drives;
    std::vector<CSystemVolume> m_Volumes;
    CPciConfigList m_PciFunctions;                    // guarded by m_PciLock
    mutable CCriticalSection m_PciLock;               // may nest on one thread
    std::map<std::string, std::size_t> m_DriveIndex;  // places in m_Drives, by name
    CEvent m_AccessEvent;
    mutable std::timed_mutex m_ListsLock;
    CThread m_UpdateThread;            // guarded by m_UpdateLock
    CCriticalSection m_UpdateLock;     // held for moments only
    std::uint64_t m_UpdateStarts = 0;  // guarded by m_UpdateLock
    CEvent m_UpdateEnded;              // signalled while no update thread runs
    CEvent m_StopEvent;
    std::atomic<unsigned int> m_ScanFlags{0};
    _ScanOptions m_ScanOptions = EffectiveScanOptions(nullptr);  // guarded by m_ListsLock
    std::atomic<bool> m_ExitRequest{false};
    std::atomic<bool> m_Terminated{false};
};

// The device scan: getters, access, update thread, end; on a machine of two PCI functions.
#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include "base/paths.h"
#include "hardware/scan_access.h"
#include "hardware/system_device_scan.h"
#include "tests/daemon/trace_log.h"
#include "tests/hardware/drive_tree.h"
#include "tests/hardware/pci_bytes.h"
#include "tests/support/files.h"
#include "tests/support/wait_for.h"

namespace {

// Waits of at least this time end at once as timed out while it is not 0.
std::atomic<long> expiringSeconds{0};

}  // namespace

// Stands before the C library's: 90 seconds of waiting for access take no time here.
extern "C" int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                      const timespec* deadline) {
    using Function = int (*)(pthread_cond_t*, pthread_mutex_t*, const timespec*);
    static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "pthread_cond_timedwait"));
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const long limit = expiringSeconds;
    return limit != 0 && deadline->tv_sec - now.tv_sec >= limit - 1
               ? ETIMEDOUT
               : real(condition, mutex, deadline);
}

namespace {

constexpr unsigned int kTimeoutMs = 20000;

// 64 bytes of configuration space of an Ethernet controller.
std::string ConfigBytes(std::uint16_t deviceId, std::uint16_t subsystemId) {
    CPciCommonConfigHeader header;
    header.m_VendorId = 0x8086;
    header.m_DeviceId = deviceId;
    header.m_BaseClass = 2;
    header.m_LayoutPart[0x2C - 0x10] = 0x86;
    header.m_LayoutPart[0x2D - 0x10] = 0x80;
    header.m_LayoutPart[0x2E - 0x10] = static_cast<std::uint8_t>(subsystemId);
    return {reinterpret_cast<const char*>(&header), sizeof header};
}

class CDeviceScanTest : public CTraceLogTest {
protected:
    void SetUp() override {
        CTraceLogTest::SetUp();
        expiringSeconds = 0;
        Add("00", "00.0", ConfigBytes(0x1533, 1));
        Add("05", "01.0", ConfigBytes(0x1521, 7));
        WriteFile("/etc/mtab", "/dev/sda1 / ext4 rw 0 0\ntmpfs /run tmpfs rw 0 0\n");
    }
    void TearDown() override { expiringSeconds = 0; }

    static void Add(const std::string& bus, const std::string& device, const std::string& bytes) {
        WriteFile(std::string(paths::kProcBusPci) + "/" + bus + "/" + device, bytes);
        MakeDirectories("/sys/bus/pci/devices/0000:" + bus + ":" + device);
    }
    // Takes the access event away from everyone, as a getter with a negative index does.
    void LockOut() {
        CSystemAdapter adapter;
        EXPECT_THROW((void)m_Scan.GetAdapter(adapter, -1), std::out_of_range);
    }
    int Scan(int flags, bool startThread = false) {
        return m_Scan.ScanHardware(flags, startThread, kTimeoutMs, nullptr);
    }

    CSystemDeviceScan m_Scan;
};

TEST_F(CDeviceScanTest, GivesWhatWasScanned) {
    ASSERT_EQ(Scan(CSystemDeviceScan::kScanAll), 0);
    EXPECT_EQ(m_Scan.GetNumberPciBusses(), 6);
    EXPECT_EQ(m_Scan.GetAdapterCount(), 2);
    EXPECT_EQ(m_Scan.GetVolumeCount(), 1);
    EXPECT_EQ(m_Scan.GetDriveCount(), 0);
    EXPECT_EQ(m_Scan.GetPartitionCount(), 0);

    CSystemAdapter adapter;
    EXPECT_FALSE(m_Scan.GetAdapter(adapter, 2));
    EXPECT_TRUE(adapter.m_DeviceId.empty());
    ASSERT_TRUE(m_Scan.GetAdapter(adapter, 1));
    CSystemAdapter same;
    EXPECT_TRUE(m_Scan.FindAdapter(same, adapter.m_DeviceId.c_str()));
    EXPECT_EQ(same.m_Address, CPciAddress(0, 5, 1, 0));
    EXPECT_TRUE(m_Scan.FindAdapter(same, CPciAddress(0, 0, 0, 0)));
    EXPECT_FALSE(m_Scan.FindAdapter(same, ""));
    EXPECT_FALSE(m_Scan.FindAdapter(same, CPciAddress(0, 9, 0, 0)));

    const CSystemDeviceScan copy(m_Scan);
    CSystemDeviceScan other;
    other = copy;
    EXPECT_EQ(other.GetAdapterCount(), 2);
    EXPECT_EQ(other.GetNumberPciBusses(), 6);

    // A function that has gone takes its adapter along; what was not asked for stays.
    Remove(std::string(paths::kProcBusPci) + "/05/01.0");
    WriteFile("/etc/mtab", "");
    ASSERT_EQ(Scan(CSystemDeviceScan::kScanAdapters), 0);
    EXPECT_EQ(m_Scan.GetAdapterCount(), 1);
    EXPECT_EQ(m_Scan.GetVolumeCount(), 1);
}

TEST_F(CDeviceScanTest, FindsDrivesAndWhatTheyHangOn) {
    const std::string device = "/sys/devices/pci0000:00/0000:05:01.0/host0/target0:0:0/0:0:0:0";
    drive_tree::Device(device, "scsi", "type=0");
    drive_tree::Block(device + "/block/sda", "size=64", device);
    drive_tree::Block(device + "/block/sda/sda1", "partition=1 start=8 size=8");
    drive_tree::Block("/sys/devices/virtual/nvme/nvme0n1", "size=8", "/sys/devices/virtual/nvme");
    ASSERT_EQ(Scan(CSystemDeviceScan::kScanAll), 0);
    drive_tree::Clear();
    CSystemAdapter adapter;
    std::vector<CSystemDrive> drives;
    EXPECT_TRUE(m_Scan.GetHostDrives(drives, adapter));  // no address: all of them
    ASSERT_EQ(drives.size(), 2U);
    EXPECT_EQ(drives[1].m_Name, "sda");
    EXPECT_TRUE(m_Scan.GetHostAdapter(adapter, drives[1]));
    EXPECT_EQ(adapter.m_Address, CPciAddress(0, 5, 1, 0));
    std::vector<CSystemPartition> partitions;
    EXPECT_TRUE(m_Scan.GetDiskPartitions(partitions, drives[1]));
    EXPECT_EQ(partitions.size(), 1U);
    EXPECT_FALSE(m_Scan.GetDiskPartitions(partitions, drives[0]));
    EXPECT_FALSE(m_Scan.GetHostAdapter(adapter, drives[0]));
    EXPECT_EQ(adapter.m_Address, CPciAddress(0, 5, 1, 0));  // as it was
    EXPECT_TRUE(m_Scan.GetHostDrives(drives, adapter));
    EXPECT_EQ(drives.size(), 1U);
    ASSERT_TRUE(m_Scan.FindAdapter(adapter, CPciAddress(0, 0, 0, 0)));
    EXPECT_FALSE(m_Scan.GetHostDrives(drives, adapter));
    // Deliberate: these have nothing to give.
    EXPECT_FALSE(m_Scan.GetDrive(drives.emplace_back(), 0));
    EXPECT_FALSE(m_Scan.GetPartition(partitions.emplace_back(), 0));
    CSystemAdapter parent;
    EXPECT_FALSE(m_Scan.GetParentAdapter(adapter, parent));
}

TEST_F(CDeviceScanTest, FindsAFunctionByItsIds) {
    ASSERT_EQ(Scan(CSystemDeviceScan::kScanAdapters), 0);
    const struct {
        unsigned short Device, Vendor, SubDevice, SubVendor;
        int Bus;  // -1: none
    } rows[] = {
        {0x1533, 0x8086, 0xFFFF, 0xFFFF, 0},  {0x1521, 0x8086, 7, 0x8086, 5},
        {0x1521, 0x8086, 7, 0x8087, -1},      {0x1521, 0x8086, 1, 0xFFFF, -1},
        {0x8086, 0x1521, 0xFFFF, 0xFFFF, -1},
    };
    for (const auto& row : rows) {
        CPciSlotData function;
        const bool isFound =
            m_Scan.GetPciSlotData(function, row.Device, row.Vendor, row.SubDevice, row.SubVendor);
        EXPECT_EQ(isFound ? function.m_Address.m_Bus : -1, row.Bus);
    }
    std::filesystem::remove_all(std::string(paths::kProcBusPci) + "/05");
    EXPECT_EQ(Scan(CSystemDeviceScan::kScanAll), 0);
    EXPECT_EQ(m_Scan.GetNumberPciBusses(), 1);
    CPciSlotData any;
    EXPECT_TRUE(m_Scan.GetPciSlotData(any, CPciAddress()));  // the invalid address meets any
    EXPECT_FALSE(m_Scan.GetPciSlotData(any, CPciAddress(0, 9, 0, 0)));
    EXPECT_EQ(CSystemDeviceScan().GetNumberPciBusses(), 0);
}

TEST_F(CDeviceScanTest, TracesEachStepAtItsLevel) {
    const auto scan = [this] {
        CSystemDeviceScan machine;
        (void)machine.ScanHardware(CSystemDeviceScan::kScanAll, false, kTimeoutMs, nullptr);
        CSystemAdapter adapter;
        (void)machine.FindAdapter(adapter, CPciAddress(0, 5, 1, 0));
        (void)machine.FindAdapter(adapter, CPciAddress(0, 9, 0, 0));
        (void)machine.GetNumberPciBusses();
        (void)CSystemDeviceScan().GetNumberPciBusses();
        (void)machine.ScanHardware(CSystemDeviceScan::kScanVolumes, false, kTimeoutMs, nullptr);
        CPciSlotData function;
        (void)machine.GetPciSlotData(function, 0x1521, 0x8086, 7, 0x8086);
    };
    EXPECT_EQ(LinesByLevel(scan),
              (std::vector<std::string>{
                  " 2:2", "## 1:2", "BuildStructureList 1:1", "CBiosTables 1:1 3:1 4:2 5:1",
                  "CDataStream 1:1 5:1", "CDeviceBios 4:2", "CDeviceBiosBase 1:1 4:5",
                  "CDeviceBusIo 5:2", "CPciConfigList 2:1 3:14 4:5", "CPciIds 2:1",
                  "CPciSlotMap 1:6 4:2", "CSMBios 1:3 2:1 3:1 4:3", "CSystemAdapter 2:1 3:2",
                  "CSystemDeviceScan 1:2 2:6 3:17 4:4", "CSystemVolume 3:6",
                  "GetPciConfigSpace 5:2", "SMBiosTableFromMemory 2:2 3:2 4:4 5:6"}));
    WriteFile(paths::kSmbiosEntryPoint, smbios_bytes::EntryPoint30(0, 0));
    WriteFile(paths::kSmbiosTable,
              pci_bytes::SystemSlot({0, 0, 5, 6, 4}) + pci_bytes::SystemSlot({4, 0, 6, 0xA5, 3}));
    std::string memory(0x100000, '\0');
    const std::string table = pci_bytes::RoutingTable({{0, 0, {}, 3, 0}, {4, 8, {}, 2, 0}});
    memory.replace(0xF1230, table.size(), table);
    WriteFile(paths::kMemoryDevice, memory);
    Add("04", "00.0", pci_bytes::Function(0x8086, 5));  // a bridge to bus 5
    EXPECT_EQ(LinesByLevel(scan),
              (std::vector<std::string>{
                  " 2:2 4:2 5:2", "09 5:2", "BuildStructureList 4:4 6:2", "CBiosTables 2:1 5:2",
                  "CDataStream 3:2 5:2", "CDeviceBios 3:1 4:1", "CDeviceBiosBase 4:4",
                  "CDeviceBusIo 5:3", "CPciConfigList 2:1 3:18 4:5", "CPciIds 2:1",
                  "CPciSlotMap 2:2 3:4 4:9 5:17", "CSMBios 4:5", "CSystemAdapter 2:1 3:3",
                  "CSystemDeviceScan 1:2 2:6 3:19 4:4", "CSystemVolume 3:6",
                  "GetPciConfigSpace 5:3", "PciSlotData 5:21", "[00] 5:1", "[01] 5:1"}));
    for (const std::string& path :
         {std::string(paths::kSmbiosTable), std::string(paths::kMemoryDevice),
          std::string(paths::kProcBusPci) + "/04"}) {
        Remove(path);
    }
}

TEST_F(CDeviceScanTest, TracesWhatGoesWrongAtItsLevel) {
    const auto watch = [this] {
        EXPECT_EQ(Scan(CSystemDeviceScan::kAllowUpdateThread, true), 0);
        EXPECT_TRUE(m_Scan.StopUpdateThread(2500));
    };
    EXPECT_EQ(LevelOf("Update thread did exit!", watch), 3);
    LockOut();
    expiringSeconds = 90;
    EXPECT_EQ(LevelOf("Access timeout!", [this] { (void)m_Scan.GetAdapterCount(); }), 1);
    EXPECT_EQ(LevelOf("Pending calls not terminated",
                      [this] {
                          m_Scan.Terminate(0);
                          LockOut();
                      }),
              1);
    std::filesystem::remove_all(paths::kProcBusPci);
    EXPECT_EQ(LevelOf("scandir for directory",
                      [] {
                          CPciConfigList list;
                          (void)CPciConfigList::ScanPciSlots(list, false);
                      }),
              1);
}

// Who has the access keeps everyone else out: a scan until its time-out, getters for 90 seconds.
TEST_F(CDeviceScanTest, WaitsForAccessUpToItsLimit) {
    ASSERT_EQ(Scan(CSystemDeviceScan::kScanAll), 0);
    LockOut();
    EXPECT_EQ(m_Scan.ScanHardware(CSystemDeviceScan::kScanAll, false, 20, nullptr), -1);
    EXPECT_EQ(TextsWith("Time out waiting for end of pending hardware scan! (20 msec)").size(), 1U);
    expiringSeconds = 90;
    CSystemVolume volume;
    EXPECT_EQ(m_Scan.GetAdapterCount(), 0);
    EXPECT_FALSE(m_Scan.GetVolume(volume, 0));
    EXPECT_FALSE(m_Scan.ScanVolumes());
    for (const char* const call : {"GetAdapterCount", "GetVolume", "ScanVolumes"}) {
        EXPECT_EQ(TextsWith(std::string("WARNING! ") + call + "(): Access timeout!").size(), 1U);
    }
    EXPECT_EQ(m_Scan.GetNumberPciBusses(), 6);  // needs no access
    m_Scan.Terminate(0);                        // gives the access free whoever has it
    EXPECT_EQ(TextsWith("Pending calls not terminated within 0 seconds!").size(), 1U);
    EXPECT_EQ(m_Scan.GetAdapterCount(), 2);
    WriteFile("/etc/mtab", "");
    EXPECT_EQ(Scan(CSystemDeviceScan::kScanAll), 0);  // and now scans nothing
    EXPECT_EQ(m_Scan.GetVolumeCount(), 1);
}

// A copy holds the lists without the event, and sets none at its end.
TEST_F(CDeviceScanTest, LeavesTheAccessFreeAfterATimeOutDuringACopy) {
    CEvent event(true, false, nullptr);
    std::timed_mutex lists;
    const std::scoped_lock copy(lists);
    std::thread([&] { EXPECT_FALSE(CScanAccess(event, lists).Take(0)); }).join();
    EXPECT_TRUE(event.IsSet());
    event.Reset();
    const std::atomic<bool> isGivenUp{false};
    EXPECT_FALSE(CScanAccess(event, lists).Take(1, &isGivenUp)) << "a limit holds there, too";
}

TEST_F(CDeviceScanTest, KeepsVolumesFreshUntilStopped) {
    ASSERT_EQ(Scan(CSystemDeviceScan::kScanVolumes, true), 0);  // its flags allow no thread
    EXPECT_EQ(TextsWith("WatchPartitions() skipped!").size(), 1U);
    WriteFile("/etc/mtab", "/dev/sda1 / ext4 rw 0 0\n/dev/sdb1 /data xfs rw 0 0\n");
    ASSERT_EQ(Scan(CSystemDeviceScan::kAllowUpdateThread, true), 0);
    EXPECT_TRUE(WaitUntil([this] { return m_Scan.GetVolumeCount() == 2; }, paths::kTraceDirectory));
    ASSERT_EQ(m_Scan.RescanHardware(kTimeoutMs, nullptr), 0);  // the thread runs on afterwards
    EXPECT_EQ(TextsWith("Update thread did exit!").size(), 1U);
    EXPECT_TRUE(m_Scan.StopUpdateThread(2500));
    EXPECT_EQ(TextsWith("Wait 2 seconds for thread termination ...").size(), 1U);
    EXPECT_EQ(TextsWith("EXIT THREAD WatchPartitions()").size() +
                  TextsWith("WatchPartitions() terminated!").size(),
              2U);
    EXPECT_TRUE(m_Scan.StopUpdateThread(0));
    EXPECT_EQ(TextsWith("Update thread not running!").size(), 3U);
}

TEST_F(CDeviceScanTest, ServesReadersWhileItScans) {
    std::atomic<bool> isDone{false};
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i) {
        readers.emplace_back([&] {
            while (!isDone) {
                CSystemAdapter adapter;
                const int count = m_Scan.GetAdapterCount();
                EXPECT_TRUE(count == 0 || count == 2) << count;
                (void)m_Scan.GetAdapter(adapter, 1);
                CPciConfigList list;
                (void)m_Scan.GetPciSlotConfig(list);
            }
        });
    }
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(Scan(CSystemDeviceScan::kScanAll, true), 0);
    }
    isDone = true;
    for (std::thread& reader : readers) {
        reader.join();
    }
}

}  // namespace

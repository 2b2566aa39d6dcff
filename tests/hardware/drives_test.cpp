// Drives, partitions and volumes of a machine that stands as files at the real paths.
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <latch>

#include <gtest/gtest.h>

#include "hardware/drive_matching.h"
#include "hardware/system_volume.h"
#include "tests/daemon/trace_log.h"
#include "tests/hardware/drive_tree.h"

namespace {

using drive_tree::Block;
using drive_tree::Device;
using drive_tree::Link;
using drive_tree::Page;

constexpr char kNaa[] = "\x01\x03\0\x08\x50\0\xC5\0\xA1\xB2\xC3\xD4";
std::atomic<int> questions;      // sent to SCSI drives
std::atomic<int> deadQuestions;  // that reached the dead server
std::latch revival(1);           // of the dead server
std::atomic<bool> isDriveDead;   // every SCSI drive, until its revival
std::latch driveRevival(1);

}  // namespace

// Every SCSI drive has a serial number; it gives no other page.
extern "C" int ioctl(int, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    auto* const command = request == SG_IO ? va_arg(arguments, sg_io_hdr_t*) : nullptr;
    va_end(arguments);
    // 252 bytes: even, and not too many for any drive.
    if (command == nullptr || command->cmdp[0] != 0x12 || command->cmdp[1] != 1 ||
        command->cmdp[4] != 252 || command->dxfer_len != 252) {
        return -1;
    }
    ++questions;
    if (isDriveDead) {
        driveRevival.wait();
    }
    const std::string page = Page(0x80, "ASKED1");
    const bool isKnown = command->cmdp[2] == 0x80;
    page.copy(static_cast<char*>(command->dxferp), isKnown ? page.size() : 0);
    command->resid = static_cast<int>(command->dxfer_len - page.size());
    command->info = isKnown ? SG_INFO_OK : SG_INFO_CHECK;
    return 0;
}

// A server that does not answer, and disks that do.
extern "C" int statvfs(const char* path, struct statvfs* status) noexcept {
    if (std::string_view(path) == "/srv/dead") {
        ++deadQuestions;
        revival.wait();
    }
    if (std::string_view(path) == "/srv/refused") {
        errno = EACCES;
        return -1;
    }
    status->f_frsize = std::string_view(path) == "/srv/old" ? 0 : 4096;
    status->f_bsize = 512;
    status->f_blocks = std::string_view(path) == "/srv/huge"    ? UINT64_MAX / 4096 + 1
                       : std::string_view(path) == "/srv/empty" ? 0
                                                                : 100;
    status->f_bfree = std::string_view(path) == "/srv/old" ? 200 : 50;
    status->f_bavail = 40;
    return 0;
}

namespace {

class Drives : public CTraceLogTest {
protected:
    void SetUp() override {
        CTraceLogTest::SetUp();
        drive_tree::Clear();
        BuildDisk();
        BuildOthers();
    }
    // A SATA disk with two partitions; the second holds a logical volume.
    static void BuildDisk() {
        const std::string device =
            "/sys/devices/pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0";
        Device(device, "scsi", "type=0 vendor=ATA model=DISK scsi_generic/sg0/dev=21:0");
        WriteFile(device + "/vpd_pg80", Page(0x80, " SATA1 "));
        WriteFile(device + "/vpd_pg83", Page(0x83, {kNaa, sizeof kNaa - 1}));
        const std::string disk = device + "/block/sda";
        Block(disk, "size=2048 queue/rotational=1 removable=0", device);
        Block(disk + "/sda1", "partition=1 start=64 size=8 dev=8:1");
        Block(disk + "/sda2", "partition=2 start=72 size=16");
        Block("/sys/devices/virtual/block/dm-0", "slaves/sda2=");
        Link("/dev/mapper/vg-root", "../dm-0");
        WriteFile("/dev/dm-0", "");
        WriteFile("/dev/sda1", "");
        Link("/dev/disk/by-label/The\\x20root", "../../dm-0");
        Link("/dev/disk/by-uuid/12-34", "../../sda1");
        WriteFile("/run/udev/data/b8:1", "S:x\nE:ID_FS_TYPE=vfat\nE:ID_PART_ENTRY_TYPE=0xc\n");
    }
    // An NVMe drive with two controllers, a sleeping optical drive, a SAS disk of which the kernel
    // knows little, a loop device, and a disk that vanishes.
    static void BuildOthers() {
        const std::string nvme = "/sys/devices/virtual/nvme-subsystem/nvme-subsys0";
        Device(nvme, "nvme-subsystem", "serial=NVME1 model=FAST");
        for (const std::string number : {"0", "1"}) {
            const std::string controller =
                "/sys/devices/pci0000:00/0000:02:00." + number + "/nvme/nvme" + number;
            Device(controller, "nvme", "transport=pcie");
            Link(nvme + "/nvme" + number, controller);
        }
        Block(nvme + "/nvme0n1", "size=8 wwid=eui.01", nvme);
        const std::string optical =
            "/sys/devices/pci0000:00/0000:00:1f.2/ata2/host1/target1:0:0/1:0:0:0";
        Device(optical, "scsi", "type=5 power/runtime_status=suspended scsi_generic/sg1/dev=");
        Block(optical + "/block/sr0", "size=2097151", optical);
        const std::string sas =
            "/sys/devices/pci0000:00/0000:03:00.0/host2/port-2:0/end_device-2:0/target2:0:0/2:0:0:7";
        Device(sas, "scsi", "type=0 scsi_generic/sg2/dev=");
        Block(sas + "/block/sdb", "size=8 queue/rotational=0", sas);
        WriteFile("/dev/sg2", "");
        Block("/sys/devices/virtual/block/loop0", "size=8");
        Link("/sys/block/sdz", "/sys/devices/gone");
    }
    // One of each other kind, and what is none of them.
    static void BuildOddOnes() {
        const std::string pci = "/sys/devices/pci0000:00/0000:00:";
        const auto add = [](const std::string& device, const std::string& bus,
                            const std::string& attributes, const std::string& block,
                            const std::string& ofBlock) {
            Device(device, bus, attributes);
            if (!block.empty()) {
                Block(device + "/block/" + block, ofBlock, device);
            }
            const std::size_t generic = attributes.find("scsi_generic/");
            if (generic != std::string::npos) {
                const std::string node = attributes.substr(generic + 13, 3);
                Link(paths::kSysScsiGeneric + ("/" + node), device + "/scsi_generic/" + node);
                Link(device + "/scsi_generic/" + node + "/device", device);
                WriteFile("/dev/" + node, "");
            }
        };
        add("/sys/devices/mmc0/mmc0:0001", "mmc", "name=CARD fwrev=0x2", "mmcblk0", "size=0");
        add(pci + "04.0/virtio1", "virtio", "", "vda", "size=8 serial=VD1");
        add("/sys/devices/vbd-51712", "xen", "", "xvda", "size=36028797018963968");
        add("/sys/devices/ide0/0.0", "ide", "serial=", "hda", "size=8 removable=1");
        add("/sys/devices/virtual/nvme-fabrics/ctl/nvme2", "nvme", "transport=tcp", "nvme2n1", "");
        add("/sys/devices/virtual/nvme-fabrics/ctl/nvme3", "nvme", "", "nvme3c0n1", "hidden=1");
        Device(pci + "14.0/usb1/1-1", "usb", "idVendor=abcd serial=USB1");
        add(pci + "14.0/usb1/1-1/1-1:1.0/host5/target5:0:0/5:0:0:0", "scsi",
            "type=14 scsi_generic/sg5/dev=", "sdu", "removable=1 queue/rotational=0");
        const std::string host = pci + "1f.2/host6/target6:0:0/6:0:0:";
        add(host + "1", "scsi", "type=0 state=offline scsi_generic/sg6/dev=", "sdv", "size=8");
        add(host + "2", "scsi", "type=20", "sdw", "queue/rotational=1");
        add(host + "3", "scsi",
            "type=1 scsi_tape/nst0/dev= scsi_tape/st0/dev= scsi_generic/sg7/dev=", "", "");
        add(host + "4", "scsi", "type=0 scsi_generic/sg8/dev=", "", "");
        add(host + "5", "scsi", "type=3 scsi_generic/sg9/dev=", "", "");
        add(host + "x", "scsi", "type=7", "sdx", "");
        WriteFile(host + "2/vpd_pg80", Page(0x80, ""));
        WriteFile(host + "2/vpd_pg83", "short");
        WriteFile(host + "4/vpd_pg80", "short");
    }
    static std::vector<CSystemVolume> Volumes(const std::string& table, std::uint32_t flags = 0,
                                              std::uint32_t limitMs = 20000) {
        WriteFile(paths::kMtab, table);
        _ScanOptions options{kScanOptionsVersion, sizeof options, flags, 0, limitMs, 0, 0};
        std::vector<CSystemVolume> volumes;
        EXPECT_TRUE(CSystemVolume::ScanSystemVolumes(volumes, &options));
        return volumes;
    }
};

TEST_F(Drives, AreReadWithTheirReasons) {
    std::vector<CSystemDrive> drives(7);
    ASSERT_TRUE(CSystemDrive::ScanSystemDrives(drives, nullptr));
    std::vector<std::string> lines;
    for (const CSystemDrive& drive : drives) {
        lines.push_back(drive.m_Name + ' ' + drive.m_GenericNode + ' ' +
                        DriveKindName(drive.m_Kind) + ' ' + drive.m_Transport + ' ' +
                        std::to_string(drive.m_Size.Optional().value_or(0)) + ' ' +
                        drive.m_Serial.Optional().value_or(drive.m_Serial.Reason()) + " / " +
                        drive.m_Wwn.Optional().value_or(drive.m_Wwn.Reason()) + ' ' +
                        drive.m_HostAddress.ToString());
    }
    EXPECT_EQ(lines,
              (std::vector<std::string>{
                  "nvme0n1  NVMe nvme 4096 NVME1 / eui.01 0000:02:00.0",
                  "sda sg0 disk sata 1048576 SATA1 / 0x5000c500a1b2c3d4 0000:00:1f.2",
                  "sdb sg2 SSD sas 4096 ASKED1 / the drive refuses the question 0000:03:00.0",
                  "sr0 sg1 optical sata 0 the kernel does not give it, and the drive sleeps "
                  "/ the kernel does not give it, and the drive sleeps 0000:00:1f.2"}));
    EXPECT_EQ(TextsWith("CSystemDrive        : drive sda found, disk").size(), 1U);
    EXPECT_EQ(drives[0].m_OtherHostAddresses, (std::vector<CPciAddress>{{0, 2, 0, 1}}));
    EXPECT_EQ(drives[3].m_Size.Reason(), "no medium");
    EXPECT_EQ(questions, 2);
    EXPECT_EQ(drives[2].m_ScsiAddress, (ScsiAddress{2, 0, 0, 7}));
    const _ScanOptions quiet{kScanOptionsVersion, 12, kScanNoInquiry, 1, 1, 1, 1};
    ASSERT_TRUE(CSystemDrive::ScanSystemDrives(drives, &quiet));
    EXPECT_FALSE(drives[2].m_Serial.IsKnown());
    EXPECT_EQ(questions, 2);
}

TEST_F(Drives, OddOnesAreReadToo) {
    drive_tree::Clear();
    BuildOddOnes();
    std::vector<CSystemDrive> drives;
    ASSERT_TRUE(CSystemDrive::ScanSystemDrives(drives, nullptr));
    std::vector<std::string> lines;
    for (const CSystemDrive& drive : drives) {
        lines.push_back(drive.m_Name + ' ' + DriveKindName(drive.m_Kind) + ' ' + drive.m_Transport +
                        ' ' + (drive.m_Size.IsKnown() ? "sized" : drive.m_Size.Reason()) + ' ' +
                        (drive.m_IsRemovable.Optional().value_or(false) ? "removable " : "") +
                        drive.m_Serial.Optional().value_or(drive.m_Serial.Reason()) + " / " +
                        drive.m_Wwn.Reason());
    }
    EXPECT_EQ(
        lines,
        (std::vector<std::string>{
            "hda other  sized removable the kernel gives none / the kernel gives none",
            "mmcblk0 memory card mmc no medium the kernel gives none / the kernel gives none",
            "nvme2n1 NVMe nvme-tcp not given by the kernel the kernel gives none / the kernel gives "
            "none",
            "sdu SSD usb not given by the kernel removable USB1 / the kernel does not give it, and "
            "USB drives are not asked",
            "sdv disk  sized the drive is not running / the drive is not running",
            "sdw disk  not given by the kernel the drive gives an empty one / the drive gives none",
            "sdx other  not given by the kernel the kernel gives none / the kernel gives none",
            "vda virtual virtio sized VD1 / the kernel gives none",
            "xvda virtual xen not given by the kernel the kernel gives none / the kernel gives none",
            "st0 tape  the drive has no block device removable ASKED1 / the drive refuses the "
            "question",
            "sg8 disk without block device  the drive has no block device VPD page 80h is not "
            "readable / the drive refuses the question"}));
}

TEST(ScsiAddressText, IsFourNumbers) {
    const struct {
        const char* Text;
        std::optional<ScsiAddress> Address;
    } rows[] = {
        {"1:2:3:4", ScsiAddress{1, 2, 3, 4}},
        {"4294967295:0:0:18446744073709551615", ScsiAddress{4294967295U, 0, 0, UINT64_MAX}},
        {"4294967296:0:0:0", std::nullopt},
        {"0:0:0:18446744073709551616", std::nullopt},
        {"1:2:3", std::nullopt},
        {"1:2:3:", std::nullopt},
        {"1:2:3:4:", std::nullopt},
        {"1:2;3:4", std::nullopt},
        {"target1:0:0", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ParseScsiAddress(row.Text), row.Address) << row.Text;
    }
}

TEST_F(Drives, PartitionsAndAdaptersAreMatched) {
    std::vector<CSystemDrive> drives;
    ASSERT_TRUE(CSystemDrive::ScanSystemDrives(drives, nullptr));
    CSystemDrive disk = drives[1];
    const auto partitions = drive_matching::FindDiskPartitions(drives, disk);
    ASSERT_EQ(partitions.size(), 2U);
    EXPECT_EQ(partitions[0].m_Start.Get(), 64U * 512);
    EXPECT_EQ(partitions[0].m_Uuid + partitions[0].m_FileSystem + partitions[0].m_Type,
              "12-34vfat0xc");
    disk.m_Serial = CFinding<std::string>("another");
    EXPECT_TRUE(drive_matching::FindDiskPartitions(drives, disk).empty());
    EXPECT_EQ(drive_matching::FindHostDrives(drives, {0, 0, 0x1F, 2}).size(), 2U);
    struct Adapter {
        CPciAddress m_Address;
    };
    const std::vector<Adapter> adapters = {{CPciAddress()}, {{0, 3, 0, 0}}, {{0, 0, 0x1F, 2}}};
    disk.m_OtherHostAddresses = {{0, 3, 0, 0}};
    EXPECT_EQ(drive_matching::FindHostAdapter(adapters, disk), &adapters[2]);
    disk.m_HostAddress = CPciAddress();
    EXPECT_EQ(drive_matching::FindHostAdapter(adapters, disk), &adapters[1]);
    disk.m_OtherHostAddresses.clear();
    EXPECT_EQ(drive_matching::FindHostAdapter(adapters, disk), nullptr);
}

TEST_F(Drives, VolumesLieOnDrives) {
    const auto volumes = Volumes(
        "proc /proc proc rw 0 0\n/dev/mapper/vg-root / ext4 rw 0 0\ntmpfs /tmp tmpfs rw 0 0\n"
        "/dev/sda1 /hid\\040den vfat rw 0 0\n/dev/dm-0 /srv/bind ext4 ro 0 0\n"
        "rootfs /hid\\040den rootfs rw 0 0\nauto /misc autofs rw 0 0\nsrv:/x /x nfs rw 0 0\n");
    ASSERT_EQ(volumes.size(), 5U);
    EXPECT_EQ(volumes[0].m_Kind, VolumeKind::kPseudo);
    const CSystemVolume& root = volumes[1];
    EXPECT_EQ(root.m_Device + root.m_Label, "dm-0The root");
    EXPECT_EQ(root.m_MountPoints.size(), 2U);
    EXPECT_EQ(root.m_Partitions, std::vector<std::string>{"sda2"});
    EXPECT_EQ(root.m_Drives, std::vector<std::string>{"sda"});
    EXPECT_EQ(root.m_Usage.Optional(), (VolumeUsage{409600, 204800, 163840}));
    EXPECT_EQ(volumes[2].m_Usage.Reason(), "another file system is mounted over it");
    EXPECT_EQ(volumes[3].m_Usage.Reason(), "touching it would mount something");
    EXPECT_EQ(volumes[4].m_Usage.Reason(),
              "network and user-space file systems are not touched unless asked for");
    EXPECT_EQ(TextsWith("CSystemVolume"),
              (std::vector<std::string>{
                  "CSystemVolume       : Scan system volumes ...",
                  "CSystemVolume       : system volume proc found, type proc / 3",
                  "CSystemVolume       : system volume /dev/mapper/vg-root found, type ext4 / 1",
                  "CSystemVolume       : system volume /dev/sda1 found, type vfat / 1",
                  "CSystemVolume       : system volume auto found, type autofs / 4",
                  "CSystemVolume       : system volume srv:/x found, type nfs / 2",
                  "CSystemVolume       : 5 system volumes found"}));
    struct stat status {};
    ASSERT_EQ(stat("/", &status), 0);
    Link("/sys/dev/block/" + std::to_string(major(status.st_dev)) + ":" +
             std::to_string(minor(status.st_dev)),
         "../../block/sda");
    EXPECT_EQ(Volumes("/dev/root / ext4 rw 0 0\n").at(0).m_Device, "sda") << "the kernel's name";
}

TEST_F(Drives, UsageIsNeverMoreThanTheVolume) {
    WriteFile("/dev/cciss/c0d0p1", "");
    Block("/sys/devices/cciss/cciss!c0d0p1", "partition=1");
    const char* const table =
        "/dev/cciss/c0d0p1 /srv/old ext2 rw 0 0\n/x /srv/huge xfs rw 0 0\n/y /srv/empty xfs rw 0 0\n"
        "/z /srv/refused xfs rw 0 0\noverlay /srv/layered overlay rw 0 0\n"
        "/srv/image /srv/loop xfs rw 0 0\n";
    auto volumes = Volumes(table);
    ASSERT_EQ(volumes.size(), 6U);
    EXPECT_EQ(volumes[0].m_Usage.Optional(), (VolumeUsage{51200, 51200, 20480}));
    EXPECT_EQ(volumes[0].m_Device, "cciss!c0d0p1");
    EXPECT_EQ(volumes[1].m_Usage.Reason(), "the file system gives a size beyond 64 bits");
    EXPECT_EQ(volumes[2].m_Usage.Reason(), "the file system gives no size");
    EXPECT_EQ(volumes[3].m_Usage.Reason(), "Permission denied");
    EXPECT_TRUE(volumes[4].m_Usage.IsKnown());
    EXPECT_EQ(volumes[5].m_Device, "");
    volumes = Volumes(table, kScanNoVolumeSizes);
    EXPECT_EQ(volumes[0].m_Usage.Reason(), "the scan was not to touch file systems");
}

TEST_F(Drives, DeadServerHoldsNobodyAndIsAskedOnce) {
    const char* const table = "srv:/x /srv/dead nfs rw 0 0\nsrv:/y /srv/good nfs rw 0 0\n";
    auto volumes = Volumes(table, kScanNetworkVolumes, 200);
    EXPECT_EQ(volumes[0].m_Usage.Reason(), "no answer in time");
    EXPECT_TRUE(volumes[1].m_Usage.IsKnown());
    volumes = Volumes(table, kScanNetworkVolumes);
    EXPECT_EQ(volumes[0].m_Usage.Reason(), "an earlier question is still without answer");
    EXPECT_TRUE(volumes[1].m_Usage.IsKnown());
    EXPECT_EQ(deadQuestions, 1);
    revival.count_down();
    while (!volumes[0].m_Usage.IsKnown()) {
        volumes = Volumes(table, kScanNetworkVolumes);
    }
}

TEST_F(Drives, DeadDriveUsesUpTheTimeOfTheOthers) {
    const std::string device =
        "/sys/devices/pci0000:00/0000:03:00.0/host2/port-2:1/end_device-2:1/target2:0:1/2:0:1:0";
    Device(device, "scsi", "type=0 scsi_generic/sg3/dev=");
    Block(device + "/block/sdc", "size=8", device);
    WriteFile("/dev/sg3", "");
    isDriveDead = true;
    _ScanOptions options{kScanOptionsVersion, sizeof options, 0, 0, 0, 0, 1};
    std::vector<CSystemDrive> drives;
    ASSERT_TRUE(CSystemDrive::ScanSystemDrives(drives, &options));
    ASSERT_EQ(drives.size(), 5U);
    EXPECT_EQ(drives[2].m_Serial.Reason(), "asked /dev/sg2: no answer in time");
    EXPECT_EQ(drives[3].m_Serial.Reason(), "the time of the scan was used up");
    driveRevival.count_down();
    options.Size = 24;  // a record from before this limit
    EXPECT_EQ(EffectiveScanOptions(&options).DrivesLimitMs, 10000U);
    EXPECT_EQ(EffectiveScanOptions(nullptr).InquiryLimitMs, 2000U);
    EXPECT_EQ(EffectiveScanOptions(nullptr).VolumeLimitMs, 2000U);
    EXPECT_EQ(EffectiveScanOptions(nullptr).VolumesLimitMs, 10000U);
    ASSERT_TRUE(CSystemDrive::ScanSystemDrives(drives, &options));
    EXPECT_TRUE(drives[3].m_Serial.IsKnown());
}

}  // namespace

#include "hardware/system_drive.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

#include "base/paths.h"
#include "hardware/block_device.h"
#include "hardware/disk_names.h"
#include "hardware/drive_place.h"
#include "hardware/drive_serial.h"
#include "hardware/sysfs.h"
#include "trace/debug.h"

namespace {

constexpr char kNotGiven[] = "not given by the kernel";
constexpr char kNoBlockDevice[] = "the drive has no block device";

// Types of SCSI devices (T10 SPC-4, 6.4.2).
constexpr std::uint64_t kScsiDiskType = 0;
constexpr std::uint64_t kScsiTapeType = 1;
constexpr std::uint64_t kScsiOpticalType = 5;
constexpr std::uint64_t kScsiSimpleDiskType = 14;
constexpr std::uint64_t kScsiZonedDiskType = 20;

std::string Attribute(const std::string& path) {
    return sysfs::ReadAttribute(path).value_or("");
}

CFinding<bool> ReadFlag(const std::string& path) {
    const std::optional<std::uint64_t> number = sysfs::ReadNumber(path);
    return number ? CFinding(*number != 0) : CFinding<bool>::Absent(kNotGiven);
}

CFinding<std::uint64_t> ReadFigure(const std::string& path) {
    return CFinding<std::uint64_t>::From(sysfs::ReadNumber(path), kNotGiven);
}

DriveKind ScsiKind(std::optional<std::uint64_t> type, const CSystemDrive& drive) {
    switch (type.value_or(std::numeric_limits<std::uint64_t>::max())) {
    case kScsiDiskType:
    case kScsiSimpleDiskType:
    case kScsiZonedDiskType:
        return drive.m_IsRotational.Optional().value_or(true) ? DriveKind::kScsiDisk
                                                              : DriveKind::kSolidState;
    case kScsiTapeType: return DriveKind::kTape;
    case kScsiOpticalType: return DriveKind::kOptical;
    default: return DriveKind::kOther;
    }
}

DriveKind KindOf(const CSystemDrive& drive, const std::string& subsystem,
                 const std::string& deviceFolder) {
    if (subsystem == "scsi") {
        return ScsiKind(sysfs::ReadNumber(deviceFolder + "/type"), drive);
    }
    if (subsystem == "nvme" || subsystem == "nvme-subsystem") {
        return DriveKind::kNvme;
    }
    if (subsystem == "mmc") {
        return DriveKind::kMemoryCard;
    }
    return subsystem == "virtio" || subsystem == "xen" ? DriveKind::kVirtual : DriveKind::kOther;
}

// Names, transport, address and way to the host adapter, of the device behind the drive.
void ReadDevice(CSystemDrive& drive, const std::string& deviceFolder,
                const std::vector<std::string>& controllers, const std::string& subsystem) {
    if (subsystem == "scsi") {
        drive.m_Vendor = Attribute(deviceFolder + "/vendor");
        drive.m_Model = Attribute(deviceFolder + "/model");
        drive.m_Revision = Attribute(deviceFolder + "/rev");
        drive.m_ScsiAddress = ParseScsiAddress(deviceFolder.substr(deviceFolder.rfind('/') + 1));
        const auto nodes = sysfs::ListDirectory(deviceFolder + "/scsi_generic");
        drive.m_GenericNode = nodes.empty() ? std::string() : nodes.front();
    } else if (subsystem == "mmc") {
        drive.m_Model = Attribute(deviceFolder + "/name");
        drive.m_Revision = Attribute(deviceFolder + "/fwrev");
    } else {
        drive.m_Model = Attribute(deviceFolder + "/model");
        drive.m_Revision = Attribute(deviceFolder + "/firmware_rev");
    }
    const std::string fabric = Attribute(controllers.front() + "/transport");
    drive.m_Transport = drive_place::Transport(controllers.front());
    if (drive.m_Kind == DriveKind::kNvme && !fabric.empty() && fabric != "pcie") {
        drive.m_Transport = "nvme-" + fabric;
    }
    drive.m_OtherHostAddresses = drive_place::HostAddresses(controllers);
    if (!drive.m_OtherHostAddresses.empty()) {
        drive.m_HostAddress = drive.m_OtherHostAddresses.front();
        drive.m_OtherHostAddresses.erase(drive.m_OtherHostAddresses.begin());
    }
}

CFinding<std::uint64_t> ReadDriveSize(const std::string& blockFolder, DriveKind kind) {
    // What the driver puts in until it has seen a disc.
    constexpr std::uint64_t kNoDisc = 0x1FFFFFULL * 512;
    CFinding<std::uint64_t> size = block_device::ReadSectors(blockFolder + "/size");
    const bool isOptical = kind == DriveKind::kOptical;
    if (size.IsKnown() && (size.Get() == 0 || (isOptical && size.Get() == kNoDisc))) {
        return CFinding<std::uint64_t>::Absent("no medium");
    }
    return size;
}

// None when there is no hardware behind the block device, or when it vanished.
std::optional<CSystemDrive> ReadBlockDrive(const std::string& name, const CDiskNames& names,
                                           DriveQuestions& questions) {
    const std::string block = std::string(paths::kSysBlock) + '/' + name;
    const auto device = sysfs::ResolvePath(block + "/device");
    const auto controllers = drive_place::ReadControllerFolders(block + "/device");
    // The single paths of an NVMe drive with several are hidden block devices.
    if (!device || controllers.empty() || Attribute(block + "/hidden") == "1") {
        return std::nullopt;
    }
    CSystemDrive drive;
    drive.m_Name = name;
    drive.m_IsRotational = ReadFlag(block + "/queue/rotational");
    drive.m_LogicalBlock = ReadFigure(block + "/queue/logical_block_size");
    drive.m_PhysicalBlock = ReadFigure(block + "/queue/physical_block_size");
    drive.m_IsRemovable = ReadFlag(block + "/removable");
    const std::string subsystem = sysfs::ReadLink(*device + "/subsystem").value_or("");
    drive.m_Kind = KindOf(drive, subsystem, *device);
    drive.m_Size = ReadDriveSize(block, drive.m_Kind);
    ReadDevice(drive, *device, controllers, subsystem);
    ReadDriveIdentity(drive, block, *device, questions);
    drive.m_Partitions = CSystemPartition::ScanPartitions(name, names);
    return sysfs::ResolvePath(block + "/device") == device ? std::optional(std::move(drive))
                                                           : std::nullopt;
}

// A tape, or a disk that the kernel gives no block device. None for every other SCSI device.
std::optional<CSystemDrive> ReadGenericDrive(const std::string& node, DriveQuestions& questions) {
    const std::string link = std::string(paths::kSysScsiGeneric) + '/' + node + "/device";
    const auto device = sysfs::ResolvePath(link);
    const auto type = device ? sysfs::ReadNumber(*device + "/type") : std::nullopt;
    const bool isTape = type == kScsiTapeType;
    if (!type || (!isTape && *type != kScsiDiskType && *type != kScsiZonedDiskType) ||
        !sysfs::ListDirectory(*device + "/block").empty()) {
        return std::nullopt;
    }
    CSystemDrive drive;
    drive.m_Kind = isTape ? DriveKind::kTape : DriveKind::kGenericDisk;
    drive.m_Size = CFinding<std::uint64_t>::Absent(kNoBlockDevice);
    drive.m_LogicalBlock = CFinding<std::uint64_t>::Absent(kNoBlockDevice);
    drive.m_PhysicalBlock = CFinding<std::uint64_t>::Absent(kNoBlockDevice);
    drive.m_IsRotational = CFinding<bool>::Absent(kNoBlockDevice);
    drive.m_IsRemovable = isTape ? CFinding<bool>(true) : CFinding<bool>::Absent(kNoBlockDevice);
    ReadDevice(drive, *device, {*device}, "scsi");
    // A tape has a node for each mode of its use; the shortest name is the plain one.
    const auto tapes = sysfs::ListDirectory(*device + "/scsi_tape");
    const auto tape = std::find_if(tapes.begin(), tapes.end(),
                                   [](const std::string& name) { return name.starts_with("st"); });
    drive.m_Name = tape != tapes.end() ? *tape : node;
    drive.m_GenericNode = node;
    ReadDriveIdentity(drive, *device, *device, questions);
    return sysfs::ResolvePath(link) == device ? std::optional(std::move(drive)) : std::nullopt;
}

template <typename Read>
void AppendDrives(const char* folder, std::vector<CSystemDrive>& drives, const Read& read) {
    std::vector<std::string> names = sysfs::ListDirectory(folder);
    std::sort(names.begin(), names.end(), drive_place::IsNameBefore);
    for (const std::string& name : names) {
        std::optional<CSystemDrive> drive = read(name);
        if (drive) {
            Debug.Print(3, "\nCSystemDrive        : drive %s found, %s", drive->m_Name.c_str(),
                        DriveKindName(drive->m_Kind));
            drives.push_back(std::move(*drive));
        }
    }
}

}  // namespace

const char* DriveKindName(DriveKind kind) {
    switch (kind) {
    case DriveKind::kScsiDisk: return "disk";
    case DriveKind::kSolidState: return "SSD";
    case DriveKind::kNvme: return "NVMe";
    case DriveKind::kOptical: return "optical";
    case DriveKind::kTape: return "tape";
    case DriveKind::kVirtual: return "virtual";
    case DriveKind::kMemoryCard: return "memory card";
    case DriveKind::kGenericDisk: return "disk without block device";
    case DriveKind::kOther: break;
    }
    return "other";
}

const CSystemDrive CSystemDrive::kNone;

std::optional<ScsiAddress> ParseScsiAddress(const std::string& text) {
    constexpr std::size_t kParts = 4;
    std::array<std::uint64_t, kParts> parts{};
    const char* next = text.data();
    const char* const end = next + text.size();
    for (std::size_t i = 0; i < kParts; ++i) {
        const auto [stop, error] = std::from_chars(next, end, parts[i]);
        const bool isLast = i + 1 == kParts;
        if (error != std::errc() || (isLast ? stop != end : stop == end || *stop != ':') ||
            (!isLast && parts[i] > std::numeric_limits<std::uint32_t>::max())) {
            return std::nullopt;
        }
        next = stop + (isLast ? 0 : 1);
    }
    return ScsiAddress{static_cast<std::uint32_t>(parts[0]), static_cast<std::uint32_t>(parts[1]),
                       static_cast<std::uint32_t>(parts[2]), parts[3]};
}

bool CSystemDrive::ScanSystemDrives(std::vector<CSystemDrive>& drives,
                                    const _ScanOptions* options) {
    DriveQuestions questions(EffectiveScanOptions(options));
    const CDiskNames names = CDiskNames::Read();
    std::vector<CSystemDrive> found;
    AppendDrives(paths::kSysBlock, found,
                 [&](const std::string& name) { return ReadBlockDrive(name, names, questions); });
    AppendDrives(paths::kSysScsiGeneric, found,
                 [&](const std::string& node) { return ReadGenericDrive(node, questions); });
    drives = std::move(found);
    return sysfs::ResolvePath(paths::kSysBlock).has_value();
}

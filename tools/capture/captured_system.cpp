// Which files, devices and tables of a machine a capture holds.
#include <algorithm>
#include <string_view>

#include "base/kernel_file.h"
#include "base/paths.h"
#include "hardware/block_device.h"
#include "hardware/device_bios.h"
#include "hardware/mount_table.h"
#include "hardware/scsi_command.h"
#include "hardware/scsi_inquiry.h"
#include "hardware/smbios.h"
#include "hardware/sysfs.h"
#include "tools/capture/captured_tree.h"

namespace tools {

namespace {

constexpr std::size_t kTextMax = std::size_t{1} << 20U;

void CapturePciFunctions(CCapturedTree& tree) {
    constexpr std::size_t kHeaderSize = 64;
    tree.AddFolder(paths::kProcBusPci);
    const std::string buses = std::string(paths::kProcBusPci) + '/';
    for (const std::string& bus : sysfs::ListDirectory(paths::kProcBusPci)) {
        std::string folder = buses + bus;
        folder += '/';
        for (const std::string& function : sysfs::ListDirectory(folder)) {
            tree.CopyFile(folder + function, kHeaderSize);
        }
    }
}

void CaptureDevices(CCapturedTree& tree) {
    tree.AddFolder(paths::kSysBlock);
    tree.CopyDevicesOf(paths::kSysPciDevices);
    for (const char* const name : {"net", "scsi_host", "fc_host", "sas_phy"}) {
        tree.CopyDevicesOf(std::string(paths::kSysClass) + '/' + name);
    }
    for (const char* const folder :
         {paths::kSysBlock, paths::kSysClassBlock, paths::kSysDevBlock, paths::kSysScsiGeneric}) {
        tree.CopyDevicesOf(folder);
    }
}

// As the kernel gives them, wherever they were found.
void CaptureSmbios(CCapturedTree& tree) {
    CSMBios smbios;
    (void)smbios.Connect();
    if (smbios.GetData().IsEmpty()) {
        return;
    }
    tree.AddFile(paths::kSmbiosEntryPoint, std::string(smbios.GetHeader().View().Text()));
    tree.AddFile(paths::kSmbiosTable, std::string(smbios.GetData().View().Text()));
}

// Of the memory that a PC's firmware leaves: the IRQ routing table at its place, and nothing else.
void CaptureRoutingTable(CCapturedTree& tree) {
    constexpr unsigned int kAddress = 0xF0000;
    constexpr std::size_t kLength = 0x10000;
    CDeviceBios bios;
    bios.Connect();
    const unsigned char* const memory = bios.MapPhysicalMemory(0, kAddress, kLength, false);
    if (memory == nullptr) {
        return;
    }
    const std::string bytes(reinterpret_cast<const char*>(memory), kLength);
    bios.UnmapPhysicalMemory();
    irq_routing::Table table;
    if (irq_routing::Parse(CByteView(bytes), table) == irq_routing::Result::kFound) {
        std::string captured(kAddress + kLength, '\0');
        captured.replace(kAddress + table.Offset, table.Size, bytes, table.Offset, table.Size);
        tree.AddFile(paths::kMemoryDevice, std::move(captured));
    }
}

std::string NodeOf(std::string kernelName) {
    std::replace(kernelName.begin(), kernelName.end(), '!', '/');
    return std::string(paths::kDevices) + '/' + kernelName;
}

// In the place of each mounted device's node an empty file of the kernel's name, with a link for
// every other name.
void CaptureMountTable(CCapturedTree& tree) {
    tree.CopyFile(paths::kMtab, kTextMax);
    std::vector<mounts::Entry> entries;
    (void)mounts::ReadMountTable(entries);
    const std::string devices = std::string(paths::kDevices) + '/';
    for (const mounts::Entry& entry : entries) {
        if (!entry.Device.starts_with(devices)) {
            continue;
        }
        std::optional<std::string> name = block_device::FindKernelName(entry.Device);
        if (!name && entry.Device == paths::kRootDevice) {
            name = block_device::FindKernelNameBelow(entry.MountPoint);
        }
        if (!name) {
            continue;
        }
        tree.AddFile(NodeOf(*name), {});
        std::string up;
        for (auto i = std::count(entry.Device.begin(), entry.Device.end(), '/'); i > 2; --i) {
            up += "../";
        }
        tree.AddLink(entry.Device, up + NodeOf(*name).substr(devices.size()));
    }
}

// The two properties that are read, of each block device.
void CaptureDiskRecords(CCapturedTree& tree) {
    for (const char* const folder : {paths::kDiskByLabel, paths::kDiskByUuid,
                                     paths::kDiskByPartitionLabel, paths::kDiskByPartitionUuid}) {
        for (const std::string& name : sysfs::ListDirectory(folder)) {
            tree.CopyLink(std::string(folder) + '/' + name);
        }
    }
    for (const std::string& number : sysfs::ListDirectory(paths::kSysDevBlock)) {
        const std::string path = std::string(paths::kUdevRecords) + "/b" + number;
        std::string text;
        if (ReadKernelFile(path.c_str(), text) != 0) {
            continue;
        }
        std::string kept;
        for (std::string_view rest = text; !rest.empty();) {
            const std::string_view line = rest.substr(0, rest.find('\n'));
            rest.remove_prefix(std::min(line.size() + 1, rest.size()));
            if (line.starts_with("E:ID_PART_ENTRY_TYPE=") || line.starts_with("E:ID_FS_TYPE=")) {
                kept.append(line).push_back('\n');
            }
        }
        tree.AddFile(path, kept);
    }
}

// What the drive itself said a moment ago and the kernel has no copy of.
void CaptureDrivePages(CCapturedTree& tree, const CSystemDrive& drive) {
    constexpr std::chrono::milliseconds kLimit(2000);
    const std::string link = std::string(paths::kSysScsiGeneric) + '/' + drive.m_GenericNode;
    const auto device = sysfs::ResolvePath(link + "/device");
    if (!device || drive.m_GenericNode.empty() || drive.m_Transport == "usb") {
        return;
    }
    const struct {
        bool IsKnown;
        std::uint8_t Code;
        const char* Name;
    } kPages[] = {{drive.m_Serial.IsKnown(), scsi::kUnitSerialPage, "/vpd_pg80"},
                  {drive.m_Wwn.IsKnown(), scsi::kIdentificationPage, "/vpd_pg83"}};
    for (const auto& page : kPages) {
        std::string bytes;
        if (page.IsKnown && !tree.Items.contains(*device + page.Name) &&
            scsi::ReadVitalProductData(NodeOf(drive.m_GenericNode), page.Code, kLimit, bytes) ==
                0) {
            tree.AddFile(*device + page.Name, std::move(bytes));
        }
    }
}

}  // namespace

CCapturedTree CaptureSystem(const inventory::Snapshot& snapshot) {
    CCapturedTree tree;
    for (const char* const path :
         {paths::kAdapterNames, paths::kEfiSystab, paths::kProcEfiSystab, paths::kProcIoPorts}) {
        tree.CopyFile(path, kTextMax);
    }
    CapturePciFunctions(tree);
    CaptureDevices(tree);
    CaptureSmbios(tree);
    CaptureRoutingTable(tree);
    CaptureMountTable(tree);
    CaptureDiskRecords(tree);
    for (const CSystemDrive& drive : snapshot.Drives) {
        CaptureDrivePages(tree, drive);
    }
    return tree;
}

}  // namespace tools

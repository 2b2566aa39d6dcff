#include "hardware/system_volume.h"

#include <algorithm>
#include <map>
#include <string_view>

#include "base/error_text.h"
#include "base/paths.h"
#include "base/text_safety.h"
#include "hardware/block_device.h"
#include "hardware/disk_names.h"
#include "hardware/mount_table.h"
#include "trace/debug.h"

namespace {

bool IsVolume(const mounts::Entry& entry) {
    return entry.Type != "tmpfs" && entry.Type != "rootfs";
}

// The kernel's name of the entry's block device; empty when it has none.
std::string FindDevice(const mounts::Entry& entry) {
    if (!entry.Device.starts_with('/')) {
        return {};
    }
    std::optional<std::string> name = block_device::FindKernelName(entry.Device);
    if (!name && entry.Device == paths::kRootDevice) {
        // A name that the kernel makes up for what its command line told it to mount.
        name = block_device::FindKernelNameBelow(entry.MountPoint);
    }
    return name.value_or("");
}

// What mounts of one volume have in common; empty when each mount is a volume of its own.
std::string GroupKey(const CSystemVolume& volume) {
    if (!volume.m_Device.empty()) {
        return volume.m_Device + '\0' + volume.m_Type;
    }
    return volume.IsNetwork() ? volume.m_Name + '\0' + volume.m_Type : std::string();
}

// Mounts, grouped by volume.
std::vector<CSystemVolume> CollectVolumes(const std::vector<mounts::Entry>& entries) {
    std::map<std::string_view, const mounts::Entry*> topmost;  // by mount point
    for (const mounts::Entry& entry : entries) {
        topmost[entry.MountPoint] = &entry;
    }
    std::vector<CSystemVolume> volumes;
    std::map<std::string, std::size_t> known;  // by group
    for (const mounts::Entry& entry : entries) {
        if (!IsVolume(entry)) {
            continue;
        }
        CSystemVolume volume;
        volume.m_Name = entry.Device;
        volume.m_Type = entry.Type;
        volume.m_Kind = ClassifyVolume(entry.Type, entry.Device);
        volume.m_Device = volume.m_Kind == VolumeKind::kDisk ? FindDevice(entry) : std::string();
        const std::string key = GroupKey(volume);
        std::size_t index = volumes.size();
        if (!key.empty()) {
            index = known.emplace(key, index).first->second;
        }
        if (index == volumes.size()) {
            volumes.push_back(std::move(volume));
        }
        const bool isCovered = topmost[entry.MountPoint] != &entry;
        volumes[index].m_MountPoints.push_back({entry.MountPoint, entry.Options, isCovered});
    }
    return volumes;
}

CFinding<VolumeUsage> ReadUsage(const CSystemVolume& volume, CVolumeUsageReader& reader) {
    const auto open = std::find_if(volume.m_MountPoints.begin(), volume.m_MountPoints.end(),
                                   [](const MountPoint& point) { return !point.IsCovered; });
    if (open == volume.m_MountPoints.end()) {
        return CFinding<VolumeUsage>::Absent("another file system is mounted over it");
    }
    return reader.Read(volume.m_Kind, open->Path);
}

void FillVolume(CSystemVolume& volume, const CDiskNames& names, CVolumeUsageReader& reader) {
    if (!volume.m_Device.empty()) {
        volume.m_Label = names.FindLabel(volume.m_Device);
        volume.m_Uuid = names.FindUuid(volume.m_Device);
        block_device::Stack stack = block_device::ResolveStack(volume.m_Device);
        volume.m_Partitions = std::move(stack.Partitions);
        volume.m_Drives = std::move(stack.Drives);
    }
    volume.m_Usage = ReadUsage(volume, reader);
}

}  // namespace

bool CSystemVolume::ScanSystemVolumes(std::vector<CSystemVolume>& volumes,
                                      const _ScanOptions* options) {
    Debug.Print(3, "\nCSystemVolume       : Scan system volumes ...");
    std::vector<mounts::Entry> entries;
    const int error = mounts::ReadMountTable(entries);
    if (error != 0) {
        Debug.Print(2, "\nCSystemVolume       : cannot read the mount table: %s",
                    CErrorText(error).Get());
    }
    const CDiskNames names = CDiskNames::Read();
    CVolumeUsageReader reader(EffectiveScanOptions(options));
    std::vector<CSystemVolume> found = CollectVolumes(entries);
    for (CSystemVolume& volume : found) {
        FillVolume(volume, names, reader);
        if (Debug.IsLevelActive(3)) {
            // Who may mount a FUSE file system chooses the name, line feeds included.
            Debug.Print(3, "\nCSystemVolume       : system volume %s found, type %s / %d",
                        text::EscapeControls(volume.m_Name).c_str(),
                        text::EscapeControls(volume.m_Type).c_str(),
                        static_cast<int>(volume.m_Kind));
        }
    }
    volumes = std::move(found);
    Debug.Print(3, "\nCSystemVolume       : %d system volumes found",
                static_cast<int>(volumes.size()));
    return error == 0;
}

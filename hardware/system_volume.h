// A mounted volume: its file system, where it is mounted, how full it is, the drives it lies on.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/export.h"
#include "hardware/finding.h"
#include "hardware/scan_options.h"
#include "hardware/volume_kind.h"
#include "hardware/volume_usage.h"

struct MountPoint {
    std::string Path;
    std::string Options;     // of this mount, as the table gives them
    bool IsCovered = false;  // something else is mounted over it at the same place
};

class MORLA_API CSystemVolume {
public:
    // Replaces `volumes` by what the mount table lists, in its order. Mounts of one block device,
    // and those of one share of a server, are one volume with several mount points. File systems
    // of type "tmpfs" and "rootfs" are not volumes; others without a device are, and m_Kind tells.
    // False, with `volumes` empty, when the table cannot be read. Null options are the defaults.
    // May be called from any thread; waits VolumesLimitMs at most for all file systems.
    [[nodiscard]] static bool ScanSystemVolumes(std::vector<CSystemVolume>& volumes,
                                                const _ScanOptions* options);

    [[nodiscard]] bool IsNetwork() const { return m_Kind == VolumeKind::kNetwork; }

    std::string m_Name;    // the device as the table gives it: "/dev/sda1", "server:/x", "proc"
    std::string m_Device;  // the kernel's name of the block device ("dm-0"); empty without one
    std::string m_Type;    // of the file system: "ext4"
    VolumeKind m_Kind = VolumeKind::kOther;
    std::vector<MountPoint> m_MountPoints;  // at least one
    std::string m_Label;                    // of the file system; empty when not known
    std::string m_Uuid;                     // the same
    CFinding<VolumeUsage> m_Usage;
    // Kernel names of what the volume lies on, through device-mapper and md stacks.
    std::vector<std::string> m_Partitions;
    std::vector<std::string> m_Drives;
};

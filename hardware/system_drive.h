// A drive of the machine: disk, solid state, optical, tape; what it is and where it hangs.
//
// Everything comes from /sys; a SCSI drive may be asked for its serial number besides.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/export.h"
#include "hardware/finding.h"
#include "hardware/pci_address.h"
#include "hardware/scan_options.h"
#include "hardware/system_partition.h"

enum class DriveKind : std::uint32_t {
    kOther,       // a block device with hardware behind it that is none of the following
    kScsiDisk,    // rotating, SATA too
    kSolidState,  // the same without rotation
    kNvme,
    kOptical,
    kTape,
    kVirtual,  // of a hypervisor
    kMemoryCard,
    kGenericDisk  // a SCSI disk that has no block device, known by its generic node only
};
// For people: "NVMe".
[[nodiscard]] MORLA_API const char* DriveKindName(DriveKind kind);

// The address that a SCSI host gives a device.
struct ScsiAddress {
    std::uint32_t Host = 0;
    std::uint32_t Channel = 0;
    std::uint32_t Target = 0;
    std::uint64_t Lun = 0;

    bool operator==(const ScsiAddress& other) const = default;
};
// From "host:channel:target:lun", four decimal numbers and nothing else.
[[nodiscard]] MORLA_API std::optional<ScsiAddress> ParseScsiAddress(const std::string& text);

class MORLA_API CSystemDrive {
public:
    // No drive; made at program start, as CSystemAdapter::kNone is.
    static const CSystemDrive kNone;

    // Replaces `drives` by the drives of the machine: the block devices that have hardware behind
    // them, then the tapes and disks that have a SCSI generic node only, each ordered as people
    // count (sda, sdb, ... sdz, sdaa). A drive that vanishes meanwhile is left out. False, with
    // `drives` empty, when block devices cannot be listed. Null options are the defaults.
    // May be called from any thread; may wait InquiryLimitMs for a command, DrivesLimitMs for all.
    [[nodiscard]] static bool ScanSystemDrives(std::vector<CSystemDrive>& drives,
                                               const _ScanOptions* options);

    std::string m_Name;         // of the kernel: "sda", "nvme0n1", "sr0", "st0"
    std::string m_GenericNode;  // "sg0"; empty when there is none
    DriveKind m_Kind = DriveKind::kOther;
    // Empty when the drive or the kernel gives none.
    std::string m_Vendor;
    std::string m_Model;
    std::string m_Revision;
    std::string m_Transport;  // "sata", "sas", "fc", "iscsi", "usb", "nvme", "virtio", ...

    CFinding<std::uint64_t> m_Size;           // bytes
    CFinding<bool> m_IsRotational;            // as the kernel takes it
    CFinding<std::uint64_t> m_LogicalBlock;   // bytes
    CFinding<std::uint64_t> m_PhysicalBlock;  // bytes
    CFinding<bool> m_IsRemovable;             // the medium
    CFinding<std::string> m_Wwn;              // "0x5000c500a1b2c3d4", "eui.0025388b71b2c3d4"
    CFinding<std::string> m_Serial;
    std::string m_SerialSource;  // where the serial number was read

    // Of the host adapter: the nearest PCI function above the drive that has a CPciAddress. Invalid
    // for a drive on none (iSCSI by software, NVMe over TCP).
    CPciAddress m_HostAddress;
    // Further adapters that lead to the same drive (NVMe with several paths).
    std::vector<CPciAddress> m_OtherHostAddresses;
    std::optional<ScsiAddress> m_ScsiAddress;

    std::vector<CSystemPartition> m_Partitions;
};

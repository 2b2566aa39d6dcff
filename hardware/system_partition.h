// A partition of a drive.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/export.h"
#include "hardware/finding.h"

class CDiskNames;

class MORLA_API CSystemPartition {
public:
    // The partitions of the drive in their order on it. What vanishes meanwhile is left out.
    [[nodiscard]] static std::vector<CSystemPartition> ScanPartitions(const std::string& drive,
                                                                      const CDiskNames& names);

    std::string m_Name;   // of the kernel: "sda1"
    std::string m_Drive;  // the kernel's name of the drive: "sda"
    unsigned int m_Number = 0;
    CFinding<std::uint64_t> m_Start;  // bytes from the drive's begin
    CFinding<std::uint64_t> m_Size;   // bytes
    // Empty when nobody knows: these come from the links and records of the device manager.
    std::string m_Type;           // of the partition table: a GUID, or "0x83"
    std::string m_FileSystem;     // "ext4", "LVM2_member"
    std::string m_Label;          // of the file system
    std::string m_Uuid;           // of the file system
    std::string m_PartitionName;  // in the partition table
    std::string m_PartitionUuid;  // in the partition table
};

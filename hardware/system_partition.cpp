#include "hardware/system_partition.h"

#include <algorithm>
#include <optional>

#include "base/paths.h"
#include "hardware/block_device.h"
#include "hardware/disk_names.h"
#include "hardware/sysfs.h"

std::vector<CSystemPartition> CSystemPartition::ScanPartitions(const std::string& drive,
                                                               const CDiskNames& names) {
    std::vector<CSystemPartition> partitions;
    const std::string folder = std::string(paths::kSysBlock) + '/' + drive + '/';
    for (const std::string& name : sysfs::ListDirectory(folder)) {
        const std::string place = folder + name;
        const auto number =
            name.starts_with(drive) ? sysfs::ReadNumber(place + "/partition") : std::nullopt;
        if (!number) {
            continue;
        }
        CSystemPartition partition;
        partition.m_Name = name;
        partition.m_Drive = drive;
        partition.m_Number = static_cast<unsigned int>(*number);
        partition.m_Start = block_device::ReadSectors(place + "/start");
        partition.m_Size = block_device::ReadSectors(place + "/size");
        const DiskRecord record = ReadDiskRecord(place);
        partition.m_Type = record.PartitionType;
        partition.m_FileSystem = record.FileSystem;
        partition.m_Label = names.FindLabel(name);
        partition.m_Uuid = names.FindUuid(name);
        partition.m_PartitionName = names.FindPartitionName(name);
        partition.m_PartitionUuid = names.FindPartitionUuid(name);
        if (sysfs::ReadNumber(place + "/partition")) {
            partitions.push_back(std::move(partition));
        }
    }
    std::stable_sort(partitions.begin(), partitions.end(),
                     [](const CSystemPartition& a, const CSystemPartition& b) {
                         return a.m_Start.Optional() < b.m_Start.Optional();
                     });
    return partitions;
}

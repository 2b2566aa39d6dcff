#include "hardware/drive_matching.h"

#include <algorithm>

namespace drive_matching {

bool IsHostedAt(const CSystemDrive& drive, const CPciAddress& adapter) {
    const auto& others = drive.m_OtherHostAddresses;
    return adapter.IsValid() && (drive.m_HostAddress == adapter ||
                                 std::find(others.begin(), others.end(), adapter) != others.end());
}

std::vector<CSystemDrive> FindHostDrives(const std::vector<CSystemDrive>& drives,
                                         const CPciAddress& adapter) {
    std::vector<CSystemDrive> found;
    std::copy_if(drives.begin(), drives.end(), std::back_inserter(found),
                 [&](const CSystemDrive& drive) { return IsHostedAt(drive, adapter); });
    return found;
}

std::vector<CSystemPartition> FindDiskPartitions(const std::vector<CSystemDrive>& drives,
                                                 const CSystemDrive& drive) {
    const auto found = std::find_if(drives.begin(), drives.end(), [&](const CSystemDrive& known) {
        const bool isOther = known.m_Serial.IsKnown() && drive.m_Serial.IsKnown() &&
                             known.m_Serial.Get() != drive.m_Serial.Get();
        return known.m_Name == drive.m_Name && !isOther;
    });
    return found != drives.end() ? found->m_Partitions : std::vector<CSystemPartition>();
}

}  // namespace drive_matching

// Which drive hangs on which adapter, and which partitions are a drive's: rules on the records.
#pragma once

#include <vector>

#include "base/export.h"
#include "hardware/pci_address.h"
#include "hardware/system_drive.h"
#include "hardware/system_partition.h"

namespace drive_matching {

// Whether the drive hangs on the adapter at that address: it is the drive's host address, or one of
// the others of a drive with several ways. The invalid address is nobody's, and a drive without
// host address hangs on no adapter.
[[nodiscard]] MORLA_API bool IsHostedAt(const CSystemDrive& drive, const CPciAddress& adapter);

// The adapter that hosts the drive: the one at its host address, else the first at another of its
// addresses. Null when there is none. An adapter is whatever has an m_Address.
template <typename Adapter>
const Adapter* FindHostAdapter(const std::vector<Adapter>& adapters, const CSystemDrive& drive) {
    const Adapter* other = nullptr;
    for (const Adapter& adapter : adapters) {
        if (IsHostedAt(drive, adapter.m_Address)) {
            if (adapter.m_Address == drive.m_HostAddress) {
                return &adapter;
            }
            other = other == nullptr ? &adapter : other;
        }
    }
    return other;
}

// The drives on the adapter at that address, in the order of `drives`.
[[nodiscard]] MORLA_API std::vector<CSystemDrive> FindHostDrives(
    const std::vector<CSystemDrive>& drives, const CPciAddress& adapter);

// The partitions of that drive as `drives` knows them now. The drive is found by its kernel name;
// it has none when that name stands for another drive meanwhile, which the serial numbers tell
// where both are known.
[[nodiscard]] MORLA_API std::vector<CSystemPartition> FindDiskPartitions(
    const std::vector<CSystemDrive>& drives, const CSystemDrive& drive);

}  // namespace drive_matching

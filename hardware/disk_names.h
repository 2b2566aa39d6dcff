// What the device manager knows of block devices: labels, UUIDs, partition and file-system types.
#pragma once

#include <map>
#include <string>

// The links of /dev/disk, by the kernel's name of the device that they point at ("sda1", "dm-0").
class CDiskNames {
public:
    // Reads the links as they are now.
    [[nodiscard]] static CDiskNames Read();

    // Empty when there is none. Of several labels the last by name counts.
    [[nodiscard]] std::string FindLabel(const std::string& device) const;
    [[nodiscard]] std::string FindUuid(const std::string& device) const;
    [[nodiscard]] std::string FindPartitionName(const std::string& device) const;
    [[nodiscard]] std::string FindPartitionUuid(const std::string& device) const;

private:
    using Names = std::map<std::string, std::string>;

    static Names ReadLinks(const std::string& folder);
    static std::string Find(const Names& names, const std::string& device);

    Names m_Labels;
    Names m_Uuids;
    Names m_PartitionNames;
    Names m_PartitionUuids;
};

// Fields are empty when the record does not have them.
struct DiskRecord {
    std::string PartitionType;  // a GUID, or "0x83"
    std::string FileSystem;     // or what else was recognised: "LVM2_member"
};
// Pure reading of a record: lines "E:KEY=VALUE" hold properties, others are skipped.
[[nodiscard]] DiskRecord ParseDiskRecord(std::string_view text);
// The record of the block device at `place` in /sys, of which it takes the number.
[[nodiscard]] DiskRecord ReadDiskRecord(const std::string& place);

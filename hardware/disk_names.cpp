#include "hardware/disk_names.h"

#include <algorithm>
#include <filesystem>
#include <optional>

#include "base/kernel_file.h"
#include "base/paths.h"
#include "hardware/block_device.h"
#include "hardware/escaped_text.h"
#include "hardware/sysfs.h"

namespace {}  // namespace

CDiskNames CDiskNames::Read() {
    CDiskNames names;
    names.m_Labels = ReadLinks(paths::kDiskByLabel);
    names.m_Uuids = ReadLinks(paths::kDiskByUuid);
    names.m_PartitionNames = ReadLinks(paths::kDiskByPartitionLabel);
    names.m_PartitionUuids = ReadLinks(paths::kDiskByPartitionUuid);
    return names;
}

CDiskNames::Names CDiskNames::ReadLinks(const std::string& folder) {
    Names names;
    for (const std::string& name : sysfs::ListDirectory(folder)) {
        std::error_code error;
        const auto target =
            std::filesystem::read_symlink(std::filesystem::path(folder) / name, error);
        // A link leads up to /dev, and from there to the node.
        std::string_view node = target.native();
        while (node.starts_with("../")) {
            node.remove_prefix(3);
        }
        if (!error) {
            names[block_device::KernelName(node)] = DecodeUdevEscapes(name);
        }
    }
    return names;
}

std::string CDiskNames::Find(const Names& names, const std::string& device) {
    const auto found = names.find(device);
    return found != names.end() ? found->second : std::string();
}

std::string CDiskNames::FindLabel(const std::string& device) const {
    return Find(m_Labels, device);
}
std::string CDiskNames::FindUuid(const std::string& device) const {
    return Find(m_Uuids, device);
}
std::string CDiskNames::FindPartitionName(const std::string& device) const {
    return Find(m_PartitionNames, device);
}
std::string CDiskNames::FindPartitionUuid(const std::string& device) const {
    return Find(m_PartitionUuids, device);
}

DiskRecord ParseDiskRecord(std::string_view text) {
    constexpr std::string_view kPartitionType = "E:ID_PART_ENTRY_TYPE=";
    constexpr std::string_view kFileSystem = "E:ID_FS_TYPE=";
    DiskRecord record;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        if (line.starts_with(kPartitionType)) {
            record.PartitionType = line.substr(kPartitionType.size());
        } else if (line.starts_with(kFileSystem)) {
            record.FileSystem = line.substr(kFileSystem.size());
        }
    }
    return record;
}

DiskRecord ReadDiskRecord(const std::string& place) {
    std::string text;
    const auto number = sysfs::ReadAttribute(place + "/dev");
    const std::string path = std::string(paths::kUdevRecords) + "/b" + number.value_or("");
    if (!number || ReadKernelFile(path.c_str(), text) != 0) {
        return {};
    }
    return ParseDiskRecord(text);
}

#include "hardware/disk_names.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <optional>

#include "base/kernel_file.h"
#include "base/paths.h"
#include "hardware/block_device.h"
#include "hardware/sysfs.h"

namespace {

// The character of an escape "\xHH" at the text's begin; 0 when it is none.
unsigned int EscapedCharacter(std::string_view text) {
    constexpr std::size_t kLength = 4;
    constexpr int kHexadecimal = 16;
    unsigned int value = 0;
    if (text.size() < kLength || !text.starts_with("\\x")) {
        return 0;
    }
    const char* const end = text.data() + kLength;
    const auto [stop, error] = std::from_chars(text.data() + 2, end, value, kHexadecimal);
    return error == std::errc() && stop == end ? value : 0;
}

}  // namespace

std::string DecodeUdevEscapes(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    while (!text.empty()) {
        const unsigned int escaped = EscapedCharacter(text);
        decoded += escaped != 0 ? static_cast<char>(escaped) : text.front();
        text.remove_prefix(escaped != 0 ? 4 : 1);
    }
    return decoded;
}

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

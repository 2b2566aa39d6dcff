// CCapturedTree: what is copied of the device folders of /sys.
#include "tools/capture/captured_tree.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <string_view>

#include "base/error_text.h"
#include "base/kernel_file.h"
#include "hardware/sysfs.h"

namespace tools {

namespace {

constexpr std::size_t kAttributeMax = std::size_t{64} * 1024;  // a VPD page
constexpr std::size_t kDeviceMax = 100000;

// By name, whatever device has them.
constexpr std::string_view kAttributes[] = {"addr_assign_type",
                                            "address",
                                            "current_link_speed",
                                            "current_link_width",
                                            "dev",
                                            "firmware_rev",
                                            "fwrev",
                                            "hidden",
                                            "host_sas_address",
                                            "idVendor",
                                            "irq",
                                            "logical_block_size",
                                            "max_link_speed",
                                            "max_link_width",
                                            "model",
                                            "name",
                                            "node_name",
                                            "numa_node",
                                            "operstate",
                                            "partition",
                                            "physical_block_size",
                                            "port_name",
                                            "port_state",
                                            "proc_name",
                                            "removable",
                                            "resource",
                                            "rev",
                                            "rotational",
                                            "runtime_status",
                                            "sas_address",
                                            "serial",
                                            "size",
                                            "speed",
                                            "start",
                                            "state",
                                            "subsystem_device",
                                            "subsystem_vendor",
                                            "transport",
                                            "type",
                                            "vendor",
                                            "vpd_pg80",
                                            "vpd_pg83",
                                            "wwid"};
constexpr std::string_view kLinks[] = {"device", "driver", "module", "subsystem"};
constexpr std::string_view kSubfolders[] = {"power", "queue"};
// Folders of which the names count, and nothing else.
constexpr std::string_view kListings[] = {"block", "msi_irqs", "scsi_generic", "scsi_tape",
                                          "slaves"};

template <typename Names>
bool IsAmong(const Names& names, std::string_view name) {
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

std::string ParentOf(const std::string& path) {
    return path.substr(0, path.rfind('/'));
}

std::string PathOf(const std::string& folder, const std::string& name) {
    return folder + '/' + name;
}

std::string NameOf(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

std::optional<std::string> ReadTarget(const std::string& path) {
    std::error_code error;
    const std::filesystem::path target = std::filesystem::read_symlink(path, error);
    return error ? std::nullopt : std::optional(target.native());
}

bool IsFolder(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_directory(std::filesystem::symlink_status(path, error));
}

// A partition of the drive of that folder, or a controller of an NVMe subsystem.
bool IsPartOf(const std::string& folder, const std::string& name) {
    constexpr std::string_view kController = "nvme";
    return name.starts_with(NameOf(folder)) ||
           (name.starts_with(kController) && name.size() > kController.size() &&
            std::isdigit(static_cast<unsigned char>(name[kController.size()])) != 0);
}

}  // namespace

void CCapturedTree::AddFolder(const std::string& path) {
    Items.try_emplace(path, CapturedItem{CapturedItem::EKind::kFolder, {}});
}

void CCapturedTree::AddFile(const std::string& path, std::string text) {
    Items.try_emplace(path, CapturedItem{CapturedItem::EKind::kFile, std::move(text)});
}

void CCapturedTree::AddLink(const std::string& path, std::string target) {
    Items.try_emplace(path, CapturedItem{CapturedItem::EKind::kLink, std::move(target)});
}

void CCapturedTree::CopyFile(const std::string& path, std::size_t limit) {
    std::string text;
    const int error = ReadKernelFile(path.c_str(), text, limit);
    if (error == 0) {
        AddFile(path, std::move(text));
    } else if (error == EACCES || error == EPERM) {
        Gaps.push_back({path, CErrorText(error).Get()});
    }
}

void CCapturedTree::CopyLink(const std::string& path) {
    std::optional<std::string> target = ReadTarget(path);
    if (target) {
        AddLink(path, std::move(*target));
    }
}

void CCapturedTree::CopyListing(const std::string& folder) {
    AddFolder(folder);
    for (const std::string& name : sysfs::ListDirectory(folder)) {
        const std::string path = PathOf(folder, name);
        if (ReadTarget(path)) {
            CopyLink(path);
        } else if (IsFolder(path)) {
            AddFolder(path);
        } else {
            AddFile(path, {});
        }
    }
}

void CCapturedTree::CopyDeviceEntry(const std::string& folder, const std::string& name,
                                    std::vector<std::string>& waiting) {
    const std::string path = PathOf(folder, name);
    if (IsAmong(kListings, name)) {
        if (IsFolder(path)) {
            CopyListing(path);
        }
    } else if (IsFolder(path)) {
        if (IsAmong(kSubfolders, name) || IsPartOf(folder, name)) {
            waiting.push_back(path);
        }
    } else if (ReadTarget(path)) {
        if (IsAmong(kLinks, name) || IsPartOf(folder, name)) {
            CopyLink(path);
        }
        if (name == "device" || name == "driver" || name == "module" || IsPartOf(folder, name)) {
            waiting.push_back(path);
        }
    } else if (IsAmong(kAttributes, name)) {
        CopyFile(path, kAttributeMax);
    }
}

void CCapturedTree::CopyDeviceFolder(const std::string& folder, std::vector<std::string>& waiting) {
    AddFolder(folder);
    for (const std::string& name : sysfs::ListDirectory(folder)) {
        CopyDeviceEntry(folder, name, waiting);
    }
    if (std::count(folder.begin(), folder.end(), '/') > 2) {  // below "/sys/devices"
        waiting.push_back(ParentOf(folder));
    }
}

void CCapturedTree::CopyDevice(const std::string& path) {
    std::vector<std::string> waiting = {path};
    while (!waiting.empty() && m_Devices.size() < kDeviceMax) {
        const std::optional<std::string> folder = sysfs::ResolvePath(waiting.back());
        waiting.pop_back();
        if (folder && m_Devices.insert(*folder).second) {
            CopyDeviceFolder(*folder, waiting);
        }
    }
}

void CCapturedTree::CopyDevicesOf(const std::string& folder) {
    for (const std::string& name : sysfs::ListDirectory(folder)) {
        const std::string path = PathOf(folder, name);
        CopyLink(path);
        CopyDevice(path);
    }
}

}  // namespace tools

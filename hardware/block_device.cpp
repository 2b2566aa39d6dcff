#include "hardware/block_device.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <limits>
#include <set>

#include "base/paths.h"
#include "hardware/sysfs.h"

namespace block_device {

namespace {

std::string ClassFolder(const std::string& device) {
    return std::string(paths::kSysClassBlock) + '/' + device;
}

std::string LastComponent(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

std::optional<std::string> NameByNumber(dev_t number) {
    return sysfs::ReadLink(std::string(paths::kSysDevBlock) + '/' + std::to_string(major(number)) +
                           ':' + std::to_string(minor(number)));
}

}  // namespace

std::string KernelName(std::string_view node) {
    std::string name(node);
    std::replace(name.begin(), name.end(), '/', '!');
    return name;
}

std::optional<std::string> FindKernelName(const std::string& path) {
    const std::string devices = std::string(paths::kDevices) + '/';
    // Any other path may be an image on a file system that never answers: it is not touched.
    if (!path.starts_with(devices)) {
        return std::nullopt;
    }
    const std::optional<std::string> node = sysfs::ResolvePath(path);
    if (!node || !node->starts_with(devices)) {
        return std::nullopt;
    }
    const std::string name = KernelName(std::string_view(*node).substr(devices.size()));
    if (sysfs::ResolvePath(ClassFolder(name))) {
        return name;
    }
    struct stat status {};
    if (stat(node->c_str(), &status) != 0 || !S_ISBLK(status.st_mode)) {
        return std::nullopt;
    }
    return NameByNumber(status.st_rdev);
}

std::optional<std::string> FindKernelNameBelow(const std::string& folder) {
    struct stat status {};
    return stat(folder.c_str(), &status) == 0 ? NameByNumber(status.st_dev) : std::nullopt;
}

CFinding<std::uint64_t> ReadSectors(const std::string& path) {
    constexpr std::uint64_t kSectorSize = 512;
    const std::optional<std::uint64_t> sectors = sysfs::ReadNumber(path);
    if (!sectors || *sectors > std::numeric_limits<std::uint64_t>::max() / kSectorSize) {
        return CFinding<std::uint64_t>::Absent("not given by the kernel");
    }
    return CFinding<std::uint64_t>(*sectors * kSectorSize);
}

Stack ResolveStack(const std::string& device) {
    constexpr std::size_t kDeviceMax = 4096;  // far beyond any real stack
    std::vector<std::string> waiting = {device};
    std::set<std::string> visited;
    std::set<std::string> partitions;
    std::set<std::string> drives;
    while (!waiting.empty() && visited.size() < kDeviceMax) {
        const std::string name = waiting.back();
        waiting.pop_back();
        const std::optional<std::string> place = sysfs::ResolvePath(ClassFolder(name));
        if (!place || !visited.insert(name).second) {
            continue;
        }
        const std::vector<std::string> slaves = sysfs::ListDirectory(*place + "/slaves");
        if (!slaves.empty()) {
            waiting.insert(waiting.end(), slaves.begin(), slaves.end());
        } else if (sysfs::ReadNumber(*place + "/partition")) {
            partitions.insert(name);
            waiting.push_back(LastComponent(place->substr(0, place->rfind('/'))));
        } else if (sysfs::ResolvePath(*place + "/device")) {
            drives.insert(name);
        }
    }
    return {{partitions.begin(), partitions.end()}, {drives.begin(), drives.end()}};
}

}  // namespace block_device

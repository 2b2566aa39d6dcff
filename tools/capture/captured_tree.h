// A captured tree in memory: the files, links and folders that the inventory reads, by their paths.
#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "inventory/snapshot.h"

namespace tools {

struct CapturedItem {
    enum class EKind { kFolder, kFile, kLink };
    EKind Kind = EKind::kFolder;
    std::string Text;  // what the file holds, or where the link points
};

// Paths begin with '/'. What is added first stays.
class CCapturedTree {
public:
    // Folders above an item need not be added.
    void AddFolder(const std::string& path);
    void AddFile(const std::string& path, std::string text);
    void AddLink(const std::string& path, std::string target);

    // Copies from this machine. What is not there is left out; what may not be read is a gap.
    void CopyFile(const std::string& path, std::size_t limit);
    void CopyLink(const std::string& path);
    // The folder of a device in /sys, with the folders above it and the drivers and devices that
    // its links name; of each what an inventory reads.
    void CopyDevice(const std::string& path);
    // The links in a folder of /sys, and the devices that they name.
    void CopyDevicesOf(const std::string& folder);

    std::map<std::string, CapturedItem> Items;
    std::vector<inventory::Gap> Gaps;

private:
    void CopyDeviceFolder(const std::string& folder, std::vector<std::string>& waiting);
    void CopyListing(const std::string& folder);
    void CopyDeviceEntry(const std::string& folder, const std::string& name,
                         std::vector<std::string>& waiting);

    std::set<std::string> m_Devices;  // that were copied
};

// Everything of this machine that an inventory reads: no more of each file than that, and of the
// firmware's memory the tables only. `snapshot`: the inventory that was just taken.
[[nodiscard]] CCapturedTree CaptureSystem(const inventory::Snapshot& snapshot);

}  // namespace tools

// A machine's block devices as plain files and links at the real paths, in a private root.
#pragma once

#include <filesystem>
#include <sstream>
#include <string>
#include <utility>

#include "base/paths.h"
#include "tests/support/files.h"

namespace drive_tree {

inline void Link(const std::string& link, const std::string& target) {
    MakeDirectories(std::filesystem::path(link).parent_path());
    std::filesystem::create_symlink(target, link);
}

// A device of a bus, as "subsystem" tells. Attributes are "name=text", separated by blanks.
inline void Device(const std::string& folder, const std::string& bus, std::string attributes) {
    std::istringstream words(std::move(attributes));
    for (std::string word; words >> word;) {
        const std::size_t equals = word.find('=');
        WriteFile(folder + '/' + word.substr(0, equals), word.substr(equals + 1) + "\n");
    }
    Link(folder + "/subsystem", "/sys/bus/" + bus);
}

// The block device in `folder`, whose last component is its name, with links to it; `device` is the
// hardware behind it.
inline void Block(const std::string& folder, const std::string& attributes,
                  const std::string& device = "") {
    const std::string name = folder.substr(folder.rfind('/') + 1);
    Device(folder, "block", attributes);
    Link(std::string(paths::kSysClassBlock) + '/' + name, folder);
    if (!Exists(folder + "/partition")) {
        Link(std::string(paths::kSysBlock) + '/' + name, folder);
    }
    if (!device.empty()) {
        Link(folder + "/device", device);
    }
}

inline void Clear() {
    for (const char* const path : {"/sys/devices", "/sys/class", "/sys/block", "/dev/disk",
                                   "/dev/mapper", "/run/udev", paths::kMtab}) {
        Remove(path);
    }
}

// Page `code` of vital product data.
inline std::string Page(unsigned char code, const std::string& body) {
    std::string page(4, '\0');
    page[1] = static_cast<char>(code);
    page[2] = static_cast<char>(body.size() >> 8U);
    page[3] = static_cast<char>(body.size());
    return page + body;
}

}  // namespace drive_tree

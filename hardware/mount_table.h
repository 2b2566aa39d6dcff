// The table of mounted file systems: a pure parser of /etc/mtab, and the small reader beside it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace mounts {

// One line of the table, its octal escapes decoded. May hold any byte but NUL.
struct Entry {
    std::string Device;      // of the file system: a node, "server:/export", or a word of its own
    std::string MountPoint;  // absolute
    std::string Type;        // "ext4", "nfs4", "fuse.sshfs"
    std::string Options;     // as given, separated by commas
};

// The entries of the text in its order, as fstab(5) describes the format: fields are separated by
// blanks and tabs, a line that begins with '#' is a comment, and what follows the fourth field is
// ignored. A line with fewer than three fields is skipped; the options may be missing.
[[nodiscard]] std::vector<Entry> ParseMountTable(std::string_view text);

// Reads the table of the system into `entries`. 0, or the errno number of the read that failed;
// `entries` is then empty.
[[nodiscard]] int ReadMountTable(std::vector<Entry>& entries);

}  // namespace mounts

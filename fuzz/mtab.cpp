// The table of mounted file systems, beside the C library's reader.
//
// Input: the table.
#include <mntent.h>

#include <string>
#include <vector>

#include "base/file_ptr.h"
#include "fuzz/input.h"
#include "hardware/mount_table.h"

namespace {

// What the C library reads otherwise: its lines end at 4096 characters, it takes "\\" for one
// backslash, decodes four escapes only, and treats a line end, a NUL or a lone field in its own
// way.
bool IsComparable(std::string_view text) {
    constexpr std::size_t kLineMax = 4000;
    if (text.empty() || text.back() != '\n' || text.find('\0') != std::string_view::npos) {
        return false;
    }
    std::size_t begin = 0;
    while (begin < text.size()) {
        const std::size_t end = text.find('\n', begin);
        if (end - begin > kLineMax) {
            return false;
        }
        begin = end + 1;
    }
    for (std::size_t at = text.find('\\'); at != std::string_view::npos;
         at = text.find('\\', at + 1)) {
        const std::string_view escape = text.substr(at, 4);
        if (escape != "\\040" && escape != "\\011" && escape != "\\012" && escape != "\\134") {
            return false;
        }
    }
    return true;
}

void CompareWithLibrary(std::string_view text, const std::vector<mounts::Entry>& entries) {
    std::string copy(text);
    const CFilePtr file(fmemopen(copy.data(), copy.size(), "r"));
    fuzz::Require(file != nullptr, "a stream of the text opens");
    std::vector<char> buffer(4096 + 1);
    mntent record{};
    auto entry = entries.begin();
    while (getmntent_r(file.get(), &record, buffer.data(), static_cast<int>(buffer.size())) !=
           nullptr) {
        if (*record.mnt_type == '\0') {
            continue;
        }
        fuzz::Require(entry != entries.end(), "the C library reads no further entry");
        fuzz::Require(entry->Device == record.mnt_fsname && entry->MountPoint == record.mnt_dir &&
                          entry->Type == record.mnt_type && entry->Options == record.mnt_opts,
                      "an entry equals the C library's");
        ++entry;
    }
    fuzz::Require(entry == entries.end(), "the C library reads every entry");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = fuzz::Text(data, size);
    const std::vector<mounts::Entry> entries = mounts::ParseMountTable(text);
    for (const mounts::Entry& entry : entries) {
        fuzz::Require(!entry.Device.empty() && !entry.MountPoint.empty() && !entry.Type.empty(),
                      "no field but the options is empty");
        for (const std::string* const field : {&entry.Device, &entry.MountPoint, &entry.Type}) {
            fuzz::Require(field->find('\0') == std::string::npos, "a field holds no NUL");
        }
    }
    if (IsComparable(text)) {
        CompareWithLibrary(text, entries);
    }
    return 0;
}

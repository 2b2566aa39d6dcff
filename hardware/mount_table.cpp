#include "hardware/mount_table.h"

#include <algorithm>

#include "base/kernel_file.h"
#include "base/paths.h"
#include "hardware/escaped_text.h"

namespace mounts {

namespace {

constexpr std::string_view kBlanks = " \t";

// Takes the next field off the line; empty at the line's end.
std::string_view TakeField(std::string_view& line) {
    line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
    const std::string_view field = line.substr(0, line.find_first_of(kBlanks));
    line.remove_prefix(field.size());
    return field;
}

}  // namespace

std::vector<Entry> ParseMountTable(std::string_view text) {
    std::vector<Entry> entries;
    while (!text.empty()) {
        std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        line = line.substr(0, line.find('\0'));
        const std::string_view device = TakeField(line);
        const std::string_view mountPoint = TakeField(line);
        const std::string_view type = TakeField(line);
        const std::string_view options = TakeField(line);
        if (type.empty() || device.front() == '#') {
            continue;
        }
        entries.push_back({DecodeOctalEscapes(device), DecodeOctalEscapes(mountPoint),
                           DecodeOctalEscapes(type), DecodeOctalEscapes(options)});
    }
    return entries;
}

int ReadMountTable(std::vector<Entry>& entries) {
    constexpr std::size_t kLimit = 16U << 20U;
    std::string text;
    const int error = ReadKernelFile(paths::kMtab, text, kLimit);
    entries = ParseMountTable(text);
    return error;
}

}  // namespace mounts

#include "hardware/mount_table.h"

#include <algorithm>

#include "base/kernel_file.h"
#include "base/paths.h"

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

// The character of an escape "\ddd" at the text's begin; 0 when it is none.
unsigned int EscapedCharacter(std::string_view text) {
    constexpr std::size_t kLength = 4;
    constexpr unsigned int kMax = 0xFF;
    if (text.size() < kLength || text.front() != '\\') {
        return 0;
    }
    unsigned int value = 0;
    for (const char digit : text.substr(1, kLength - 1)) {
        if (digit < '0' || digit > '7') {
            return 0;
        }
        value = value * 8 + static_cast<unsigned int>(digit - '0');
    }
    return value <= kMax ? value : 0;
}

}  // namespace

std::string DecodeOctalEscapes(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    while (!text.empty()) {
        const unsigned int escaped = EscapedCharacter(text);
        decoded += escaped != 0 ? static_cast<char>(escaped) : text.front();
        text.remove_prefix(escaped != 0 ? 4 : 1);
    }
    return decoded;
}

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

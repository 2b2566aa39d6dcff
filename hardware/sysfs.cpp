#include "hardware/sysfs.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <system_error>

#include "base/directory.h"
#include "base/kernel_file.h"

namespace sysfs {

namespace {

constexpr std::string_view kAround(" \t\r\n\v\f\0", 7);

}  // namespace

std::optional<std::string> ReadAttribute(const std::string& path, std::size_t limit) {
    std::string text;
    if (ReadKernelFile(path.c_str(), text, limit) != 0) {
        return std::nullopt;
    }
    text.erase(text.find_last_not_of(kAround) + 1);  // npos + 1 is 0: nothing but white space
    text.erase(0, std::min(text.find_first_not_of(kAround), text.size()));
    return text;
}

std::optional<std::uint64_t> ParseNumber(std::string_view text) {
    constexpr int kDecimal = 10;
    constexpr int kHexadecimal = 16;
    const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
    if (isHexadecimal) {
        text.remove_prefix(2);
    }
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [next, error] =
        std::from_chars(text.data(), end, number, isHexadecimal ? kHexadecimal : kDecimal);
    if (error != std::errc() || next != end) {
        return std::nullopt;
    }
    return number;
}

std::optional<std::uint64_t> ReadNumber(const std::string& path) {
    const std::optional<std::string> text = ReadAttribute(path);
    return text ? ParseNumber(*text) : std::nullopt;
}

std::optional<std::string> ReadLink(const std::string& path) {
    std::error_code error;
    const std::filesystem::path target = std::filesystem::read_symlink(path, error);
    if (error || !target.has_filename()) {
        return std::nullopt;
    }
    return target.filename().string();
}

std::optional<std::string> ResolvePath(const std::string& path) {
    std::error_code error;
    const std::filesystem::path resolved = std::filesystem::canonical(path, error);
    if (error) {
        return std::nullopt;
    }
    return resolved.string();
}

std::vector<std::string> ListDirectory(const std::string& path) {
    std::vector<std::string> names;
    (void)::ListDirectory(path, names);
    return names;
}

std::optional<CPciAddress> FindPciAddress(std::string_view devicePath) {
    while (!devicePath.empty()) {
        const std::size_t slash = devicePath.rfind('/');
        const std::size_t begin = slash == std::string_view::npos ? 0 : slash + 1;
        const std::optional<CPciAddress> address = CPciAddress::Parse(devicePath.substr(begin));
        if (address) {
            return address;
        }
        devicePath = devicePath.substr(0, slash == std::string_view::npos ? 0 : slash);
    }
    return std::nullopt;
}

}  // namespace sysfs

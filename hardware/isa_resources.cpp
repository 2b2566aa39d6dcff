#include "hardware/isa_resources.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <utility>

#include "base/kernel_file.h"
#include "base/paths.h"
#include "hardware/sysfs.h"

namespace isa {

namespace {

constexpr std::string_view kSeparator = " : ";

bool ParsePort(std::string_view text, std::uint64_t& port) {
    constexpr int kHexadecimal = 16;
    const char* const end = text.data() + text.size();
    const auto [next, error] = std::from_chars(text.data(), end, port, kHexadecimal);
    return error == std::errc() && next == end;
}

// "  03f8-03ff : serial", two blanks for each range around it.
std::optional<PortRange> ParseLine(std::string_view line) {
    constexpr std::size_t kIndent = 2;
    const std::size_t blanks = std::min(line.find_first_not_of(' '), line.size());
    line.remove_prefix(blanks);
    const std::size_t separator = line.find(kSeparator);
    if (separator == std::string_view::npos) {
        return std::nullopt;
    }
    PortRange range;
    range.Depth = static_cast<std::uint32_t>(blanks / kIndent);
    range.Owner = line.substr(separator + kSeparator.size());
    const std::string_view numbers = line.substr(0, separator);
    const std::size_t dash = numbers.find('-');
    if (dash == std::string_view::npos || !ParsePort(numbers.substr(0, dash), range.First) ||
        !ParsePort(numbers.substr(dash + 1), range.Last) || range.Last < range.First) {
        return std::nullopt;
    }
    return range;
}

std::string JoinLines(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ',');
    return text;
}

}  // namespace

std::vector<PortRange> ParseIoPorts(std::string_view text) {
    std::vector<PortRange> ranges;
    while (!text.empty()) {
        const std::size_t newline = text.find('\n');
        std::optional<PortRange> range = ParseLine(text.substr(0, newline));
        text.remove_prefix(newline == std::string_view::npos ? text.size() : newline + 1);
        if (range) {
            ranges.push_back(std::move(*range));
        }
    }
    return ranges;
}

int ReadIoPorts(std::vector<PortRange>& ranges) {
    ranges.clear();
    std::string text;
    const int error = ReadKernelFile(paths::kProcIoPorts, text);
    if (error != 0) {
        return error;
    }
    ranges = ParseIoPorts(text);
    // To an ordinary user the kernel shows zeros for all numbers.
    const bool isHidden = std::all_of(ranges.begin(), ranges.end(),
                                      [](const PortRange& range) { return range.Last == 0; });
    if (isHidden && !ranges.empty()) {
        ranges.clear();
        return EACCES;
    }
    return 0;
}

std::vector<PnpDevice> ReadPnpDevices() {
    std::vector<PnpDevice> devices;
    for (const std::string& name : sysfs::ListDirectory(paths::kSysPnpDevices)) {
        const std::string path = std::string(paths::kSysPnpDevices) + "/" + name;
        PnpDevice device;
        device.Name = name;
        device.Driver = sysfs::ReadLink(path + "/driver");
        const std::optional<std::string> used = sysfs::ReadAttribute(path + "/resources");
        if (used) {
            device.Resources = resources::ParsePnpResources(*used);
        }
        // Read last: a device that still has its identity has not gone meanwhile.
        std::optional<std::string> ids = sysfs::ReadAttribute(path + "/id");
        if (ids) {
            device.Ids = JoinLines(std::move(*ids));
            devices.push_back(std::move(device));
        }
    }
    return devices;
}

}  // namespace isa

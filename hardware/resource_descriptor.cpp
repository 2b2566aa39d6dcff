#include "hardware/resource_descriptor.h"

#include <algorithm>
#include <array>
#include <limits>

#include "hardware/sysfs.h"

namespace resources {

namespace {

// Of the kernel, include/linux/ioport.h.
constexpr std::uint64_t kIoFlag = 0x100;
constexpr std::uint64_t kMemoryFlag = 0x200;
constexpr std::uint64_t kUnsetFlag = 0x20000000;

// Takes what stands in front of the first `separator` (or everything), and the separator.
std::string_view Take(std::string_view& text, char separator) {
    const std::size_t end = text.find(separator);
    const std::string_view part = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return part;
}

std::optional<ResourceKind> KindOf(std::string_view word) {
    if (word == "io") {
        return ResourceKind::kIoPorts;
    }
    if (word == "mem") {
        return ResourceKind::kMemory;
    }
    if (word == "irq") {
        return ResourceKind::kIrq;
    }
    return word == "dma" ? std::optional(ResourceKind::kDma) : std::nullopt;
}

}  // namespace

std::vector<ResourceDescriptor> ParsePciResources(std::string_view text) {
    std::vector<ResourceDescriptor> found;
    while (!text.empty()) {
        std::string_view line = Take(text, '\n');
        const std::optional<std::uint64_t> first = sysfs::ParseNumber(Take(line, ' '));
        const std::optional<std::uint64_t> last = sysfs::ParseNumber(Take(line, ' '));
        const std::optional<std::uint64_t> flags = sysfs::ParseNumber(line);
        if (!first || !last || !flags || *last < *first || (*flags & kUnsetFlag) != 0 ||
            (*flags & (kIoFlag | kMemoryFlag)) == 0) {
            continue;
        }
        const bool isIo = (*flags & kIoFlag) != 0;
        found.push_back(
            {isIo ? ResourceKind::kIoPorts : ResourceKind::kMemory, *first, *last, *flags});
    }
    return found;
}

std::vector<ResourceDescriptor> ParsePnpResources(std::string_view text) {
    std::vector<ResourceDescriptor> found;
    while (!text.empty()) {
        std::string_view line = Take(text, '\n');
        const std::optional<ResourceKind> kind = KindOf(Take(line, ' '));
        std::string_view range = Take(line, ' ');
        const std::optional<std::uint64_t> first = sysfs::ParseNumber(Take(range, '-'));
        const std::optional<std::uint64_t> last = range.empty() ? first : sysfs::ParseNumber(range);
        if (kind && first && last && *first <= *last) {
            found.push_back({*kind, *first, *last, 0});
        }
    }
    return found;
}

std::optional<std::uint32_t> ParseLinkSpeed(std::string_view text) {
    constexpr std::uint64_t kMtPerGt = 1000;
    std::string_view number = Take(text, ' ');
    if (!text.starts_with("GT/s")) {
        return std::nullopt;
    }
    const std::optional<std::uint64_t> whole = sysfs::ParseNumber(Take(number, '.'));
    const std::optional<std::uint64_t> tenths =
        number.empty() ? std::optional<std::uint64_t>(0) : sysfs::ParseNumber(number);
    if (!whole || !tenths || *whole > kMtPerGt || *tenths >= 10) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(*whole * kMtPerGt + *tenths * (kMtPerGt / 10));
}

}  // namespace resources

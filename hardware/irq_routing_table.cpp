#include "hardware/irq_routing_table.h"

#include <numeric>
#include <string_view>

namespace irq_routing {

namespace {

constexpr std::size_t kMinorVersionAt = 4;
constexpr std::size_t kMajorVersionAt = 5;
constexpr std::size_t kSizeAt = 6;
constexpr std::uint8_t kMajorVersionMax = 10;
constexpr std::uint8_t kMinorVersionMax = 20;

bool FindAnchor(CByteView range, std::size_t& offset) {
    constexpr std::string_view kAnchor = "$PIR";
    constexpr std::size_t kParagraph = 16;
    for (offset = 0; offset < range.Size(); offset += kParagraph) {
        if (range.Part(offset).Text().starts_with(kAnchor)) {
            return true;
        }
    }
    return false;
}

// Deliberate: a table must end a whole header's length before the range does.
bool IsSizeLegal(std::size_t size, std::size_t bytesToEnd) {
    return size != 0 && bytesToEnd >= kHeaderSize && size <= bytesToEnd - kHeaderSize;
}

// A size below the header's, 16 that is, has no entries.
void CopyEntries(CByteView bytes, Table& table) {
    IrqRoutingEntry entry{};
    for (std::size_t at = kHeaderSize; bytes.Copy(at, entry); at += sizeof entry) {
        table.Entries.push_back(entry);
    }
}

}  // namespace

Result Parse(CByteView range, Table& table) {
    table = Table();
    if (!FindAnchor(range, table.Offset)) {
        return Result::kNotFound;
    }
    const CByteView rest = range.Part(table.Offset);
    table.Size = rest.ReadOrZero<std::uint16_t>(kSizeAt);
    if (!IsSizeLegal(table.Size, rest.Size())) {
        return Result::kIllegalSize;
    }
    if (table.Size % sizeof(IrqRoutingEntry) != 0) {
        return Result::kUnevenSize;
    }
    table.MajorVersion = rest.ReadOrZero<std::uint8_t>(kMajorVersionAt);
    table.MinorVersion = rest.ReadOrZero<std::uint8_t>(kMinorVersionAt);
    if (table.MajorVersion > kMajorVersionMax || table.MinorVersion > kMinorVersionMax) {
        return Result::kIllegalVersion;
    }
    const CByteView bytes = rest.Part(0, table.Size);
    table.Checksum =
        static_cast<std::uint8_t>(std::accumulate(bytes.Data(), bytes.Data() + bytes.Size(), 0U));
    if (table.Checksum != 0) {
        return Result::kIllegalChecksum;
    }
    CopyEntries(bytes, table);
    return Result::kFound;
}

}  // namespace irq_routing

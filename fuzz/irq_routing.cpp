// The PCI IRQ routing table in a memory range, against a plain second reading.
//
// Input: the range.
#include <cstring>
#include <vector>

#include "fuzz/input.h"
#include "hardware/irq_routing_table.h"

namespace {

// Where the entries begin and end; both 0 when there is no sound table.
struct Extent {
    std::size_t Begin = 0;
    std::size_t End = 0;
};

Extent FindPlainly(const std::vector<unsigned char>& range) {
    std::size_t at = 0;
    while (at + 4 <= range.size() && std::memcmp(range.data() + at, "$PIR", 4) != 0) {
        at += 16;
    }
    if (at + 32 > range.size()) {
        return {};
    }
    const std::size_t size = range[at + 6] + 256U * range[at + 7];
    unsigned int sum = 0;
    if (size == 0 || size % 16 != 0 || at + size + 32 > range.size() || range[at + 5] > 10 ||
        range[at + 4] > 20) {
        return {};
    }
    for (std::size_t i = 0; i < size; ++i) {
        sum += range[at + i];
    }
    return sum % 256 != 0 || size < 32 ? Extent{} : Extent{at + 32, at + size};
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<unsigned char> range(data, data + size);
    irq_routing::Table table;
    const irq_routing::Result result =
        irq_routing::Parse(CByteView(range.data(), range.size()), table);
    const Extent plain = FindPlainly(range);
    fuzz::Require(table.Entries.size() * 16 == plain.End - plain.Begin, "as many entries");
    fuzz::Require(
        table.Entries.empty() || std::memcmp(table.Entries.data(), range.data() + plain.Begin,
                                             plain.End - plain.Begin) == 0,
        "the same entries");
    fuzz::Require(result == irq_routing::Result::kFound || table.Entries.empty(),
                  "a bad table has no entries");
    return 0;
}

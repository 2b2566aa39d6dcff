// Entry points: revision, checksum, the search for the anchor; and the EFI system table's text.
//
// Input: a memory range, which is also taken for an entry point and for a system table.
#include "hardware/smbios_entry_point.h"

#include <algorithm>
#include <numeric>
#include <vector>

#include "fuzz/input.h"
#include "hardware/smbios.h"
#include "hardware/systab_text.h"

namespace {

using smbios_tables::AnchorState;

void CheckHeader(CByteView bytes) {
    CSMBios smbios;
    unsigned int address = 0;
    unsigned long length = 0;
    CDataStream header;
    const bool isTaken =
        smbios.checkSmbiosHeader(bytes.Data(), address, length, header, bytes.Size());
    const bool isWhole = bytes.Size() >= 31 && bytes.Size() >= bytes.Data()[5];
    fuzz::Require(isWhole || !isTaken, "a cut entry point is refused");
    if (!isWhole) {
        return;
    }
    const unsigned char* const end = bytes.Data() + bytes.Data()[5];
    const bool isGood = std::accumulate(bytes.Data(), end, 0U) % 256 == 0;
    fuzz::Require(isTaken == isGood, "the sum decides");
    fuzz::Require(!isTaken || header.Size() == bytes.Data()[5], "the header is as long as it says");
    fuzz::Require(isTaken || header.IsEmpty(), "a refused header is not stored");
    fuzz::Require(address == bytes.ReadOrZero<std::uint32_t>(0x18), "the address is right");
    fuzz::Require(length == bytes.ReadOrZero<std::uint16_t>(0x16), "the length is right");
}

// Returns the offset of the first anchor, or the size of the range.
std::size_t CheckSearch(CByteView range) {
    std::size_t from = 0;
    for (;;) {
        const smbios_tables::AnchorHit hit = smbios_tables::FindAnchor(range, from);
        if (hit.State == AnchorState::kNone) {
            return range.Size();
        }
        fuzz::Require(hit.Offset >= from && hit.Offset + 16 < range.Size(), "a hit lies ahead");
        fuzz::Require(range.Data()[hit.Offset] == '_', "a hit is one");
        if (hit.State == AnchorState::kFound) {
            return hit.Offset;
        }
        from = hit.Offset + 1;
    }
}

std::size_t FirstAnchor(std::string_view range) {
    for (std::size_t offset = 0; offset + 16 < range.size(); offset += 16) {
        if (range.substr(offset, 4) == "_SM_") {
            return offset;
        }
    }
    return range.size();
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // On the heap in its exact size: a read behind the end is seen.
    const std::vector<unsigned char> exact(data, data + size);
    const CByteView bytes(exact.data(), exact.size());
    smbios_tables::Revision revision;
    const auto result = smbios_tables::ParseRevision(bytes, revision);
    fuzz::Require((result == smbios_tables::RevisionResult::kNoHeader) == (size < 5),
                  "five bytes are a header");
    CheckHeader(bytes);
    fuzz::Require(CheckSearch(bytes) == FirstAnchor(bytes.Text()), "the first anchor is found");
    const std::uint64_t address = smbios_tables::FindSystabAddress(bytes.Text(), "SMBIOS");
    fuzz::Require(address == 0 || bytes.Text().find("SMBIOS=") != std::string_view::npos,
                  "an address stands behind its key");
    return 0;
}

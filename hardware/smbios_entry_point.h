// Pure reading of an SMBIOS entry point: its revision, its checksum, its place in a memory range.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/byte_view.h"

namespace smbios_tables {

struct Revision {
    std::uint8_t Major = 0;
    std::uint8_t Minor = 0;
};

enum class RevisionResult { kFound, kNoHeader, kNoAnchor };

// The revision that the bytes of an entry point give. `revision` is unchanged unless it is found.
// kNoHeader: fewer than 5 bytes. kNoAnchor: none of the known anchors, or the header ends before
// the two numbers.
[[nodiscard]] RevisionResult ParseRevision(CByteView header, Revision& revision);

// Whether the bytes add up to 0 modulo 256; those of an empty view do.
[[nodiscard]] bool IsChecksumZero(CByteView bytes);

enum class AnchorState {
    kNone,          // no '_' up to the end of the search
    kNonParagraph,  // a '_' that is not at a multiple of 16
    kOther,         // a '_' at a multiple of 16, but no anchor
    kFound
};
struct AnchorHit {
    AnchorState State;
    std::size_t Offset;  // of the '_'
};

// The next '_' of a memory range at or behind `from`. Only the anchor of SMBIOS 2.1, "_SM_", is
// looked for, and the last 16 bytes of the range are not searched.
[[nodiscard]] AnchorHit FindAnchor(CByteView range, std::size_t from);

}  // namespace smbios_tables

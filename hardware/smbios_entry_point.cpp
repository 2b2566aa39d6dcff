#include "hardware/smbios_entry_point.h"

#include <algorithm>
#include <string_view>

namespace smbios_tables {

namespace {

constexpr std::size_t kParagraph = 16;  // bytes

// Where the revision stands behind each anchor.
struct RevisionPlace {
    std::string_view Anchor;
    std::size_t Major;
    std::size_t Minor;
};
constexpr RevisionPlace kRevisionPlaces[] = {
    {"UEFI", 5, 4},
    {"_SM_", 6, 7},
    {"_SM3_", 7, 8},
};

}  // namespace

RevisionResult ParseRevision(CByteView header, Revision& revision) {
    constexpr std::size_t kHeaderMin = 5;
    if (header.Size() < kHeaderMin) {
        return RevisionResult::kNoHeader;
    }
    for (const RevisionPlace& place : kRevisionPlaces) {
        Revision found;
        if (header.Text().starts_with(place.Anchor) && header.Read(place.Major, found.Major) &&
            header.Read(place.Minor, found.Minor)) {
            revision = found;
            return RevisionResult::kFound;
        }
    }
    return RevisionResult::kNoAnchor;
}

bool IsChecksumZero(CByteView bytes) {
    std::uint8_t sum = 0;
    for (std::size_t i = 0; i < bytes.Size(); ++i) {
        sum = static_cast<std::uint8_t>(sum + bytes.Data()[i]);
    }
    return sum == 0;
}

AnchorHit FindAnchor(CByteView range, std::size_t from) {
    const std::string_view searched =
        range.Text().substr(0, range.Size() - std::min(range.Size(), kParagraph));
    const std::size_t offset = searched.find('_', from);
    if (offset == std::string_view::npos) {
        return {AnchorState::kNone, range.Size()};
    }
    if (offset % kParagraph != 0) {
        return {AnchorState::kNonParagraph, offset};
    }
    const bool isAnchor = range.Text().substr(offset).starts_with("_SM_");
    return {isAnchor ? AnchorState::kFound : AnchorState::kOther, offset};
}

}  // namespace smbios_tables

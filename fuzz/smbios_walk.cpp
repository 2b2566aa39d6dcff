// The walk over an SMBIOS structure table, against a plain second implementation, and the index
// that the connection builds from it.
//
// Input: the table.
#include "hardware/smbios_walk.h"

#include <vector>

#include "fuzz/input.h"
#include "fuzz/plain_smbios_walk.h"
#include "hardware/smbios.h"

namespace {

using smbios_tables::Structure;
using smbios_tables::WalkStep;

void CheckStructure(const Structure& structure, const fuzz::PlainStructure& plain,
                    std::string_view table) {
    fuzz::Require(structure.Offset == plain.Offset, "structures begin where they should");
    fuzz::Require(fuzz::IsInside(structure.Formatted.Text(), table), "formatted areas are inside");
    fuzz::Require(fuzz::IsInside(structure.StringSet.Text(), table), "string sets are inside");
    fuzz::Require(smbios_tables::SplitStrings(structure) == plain.Strings, "strings are the same");
}

// Reads all that a user of the index may read.
void CheckIndex(const CSMBios& smbios) {
    for (unsigned int type = 0; type <= 255; ++type) {
        for (const _DMI_20_HEADER* const structure :
             smbios.GetStructures(static_cast<std::uint8_t>(type))) {
            fuzz::Require(structure->Type == type, "a structure is found by its type");
            for (std::size_t offset = 0; offset < sizeof(_DMI_20_HEADER); ++offset) {
                fuzz::Require(smbios.FindByte(structure, offset).has_value(), "heads are whole");
            }
            (void)smbios.FindByte(structure, structure->Length);
        }
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // On the heap in its exact size: a read behind the end is seen.
    const std::vector<unsigned char> bytes(data, data + size);
    const CByteView view(bytes.data(), bytes.size());
    const fuzz::PlainWalk plain = fuzz::WalkPlainly(view.Text());

    smbios_tables::CTableWalk walk(view);
    auto step = WalkStep::kNext;
    std::size_t count = 0;
    while (step == WalkStep::kNext) {
        Structure structure;
        step = walk.Take(structure);
        if (step == WalkStep::kNext || step == WalkStep::kTableEnd ||
            step == WalkStep::kEndOfTable) {
            fuzz::Require(count < plain.Structures.size(), "no structure too many");
            CheckStructure(structure, plain.Structures[count++], view.Text());
        } else {
            (void)smbios_tables::SplitStrings(structure);
        }
    }
    fuzz::Require(count == plain.Structures.size(), "no structure too few");

    CSMBios smbios;
    const bool isComplete = smbios.ConnectCopy(CDataStream(), CDataStream(view));
    fuzz::Require(isComplete == plain.IsComplete, "the same tables are refused");
    fuzz::Require(smbios.GetStructureCount() == plain.Count, "the count is the same");
    fuzz::Require(isComplete || size == 0 || !smbios.GetLastError().empty(), "a refusal says why");
    CheckIndex(smbios);
    return 0;
}

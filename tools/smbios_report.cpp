#include "tools/smbios_report.h"

#include <algorithm>
#include <cstdio>

#include "base/text_safety.h"
#include "hardware/dmi_type_name.h"

namespace tools {

namespace {

using smbios_tables::Structure;
using Strings = std::vector<std::string_view>;

// The structures in the table's order. One whose head is cut off is left out; of the last one, when
// the table breaks off in it, there is what exists.
std::vector<Structure> StructuresOf(const CSMBios& smbios, WantedType type) {
    std::vector<Structure> structures;
    smbios_tables::CTableWalk walk(smbios.GetData().View());
    auto step = smbios_tables::WalkStep::kNext;
    while (step == smbios_tables::WalkStep::kNext) {
        Structure structure;
        step = walk.Take(structure);
        if (structure.HasWholeHead && structure.Type == type.value_or(structure.Type)) {
            structures.push_back(structure);
        }
    }
    return structures;
}

// Always text; what is lost by that stands beside it, in hexadecimal.
void SetStrings(Json& object, const Strings& strings) {
    Json& texts = object["strings"] = Json::array();
    for (const std::string_view text : strings) {
        texts.push_back(text::ReplaceMalformed(text));
    }
    if (!std::all_of(strings.begin(), strings.end(), text::IsUtf8)) {
        Json& digits = object["strings_hex"] = Json::array();
        for (const std::string_view text : strings) {
            digits.push_back(text::Hex(text));
        }
    }
}

Json Describe(const Structure& structure) {
    Json json;
    json["handle"] = structure.Handle;
    json["type"] = structure.Type;
    json["name"] = DmiTypeName(structure.Type);
    json["offset"] = structure.Offset;
    json["length"] = structure.Length;
    json["data"] = text::Hex(structure.Formatted.Text());
    SetStrings(json, smbios_tables::SplitStrings(structure));
    return json;
}

}  // namespace

Json DescribeSmbios(const CSMBios& smbios, bool isComplete, WantedType type) {
    constexpr int kLayout = 1;
    Json json;
    json["version"] = kLayout;
    json["smbios"] = {{"major", smbios.GetRevision().Major}, {"minor", smbios.GetRevision().Minor}};
    json["entry_point_bytes"] = smbios.GetHeader().Size();
    json["table_bytes"] = smbios.GetData().Size();
    json["structure_count"] = smbios.GetStructureCount();
    json["complete"] = isComplete;
    json["error"] = isComplete ? Json() : Json(smbios.GetLastError());
    Json& structures = json["structures"] = Json::array();
    for (const Structure& structure : StructuresOf(smbios, type)) {
        structures.push_back(Describe(structure));
    }
    return json;
}

std::vector<std::string> ListSmbios(const CSMBios& smbios, WantedType type) {
    char text[96];
    (void)std::snprintf(text, sizeof text, "SMBIOS %d.%d, %llu structures, %lu bytes",
                        smbios.GetRevision().Major, smbios.GetRevision().Minor,
                        static_cast<unsigned long long>(smbios.GetStructureCount()),
                        smbios.GetData().Size());
    std::vector<std::string> lines = {text};
    for (const Structure& structure : StructuresOf(smbios, type)) {
        (void)std::snprintf(text, sizeof text, "0x%04X  type %3d  %3d bytes  ", structure.Handle,
                            structure.Type, structure.Length);
        lines.push_back(std::string(text) + DmiTypeName(structure.Type));
        const Strings strings = smbios_tables::SplitStrings(structure);
        for (std::size_t i = 0; i < strings.size(); ++i) {
            lines.push_back("    " + std::to_string(i + 1) + ": ");
            lines.back() += strings[i];
        }
    }
    return lines;
}

}  // namespace tools

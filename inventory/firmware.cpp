#include "inventory/firmware.h"

#include <array>
#include <cstdio>

namespace inventory {

namespace {

// A string of a structure (DSP0134, chapters 7.1 to 7.4), by the offset of its number.
struct Row {
    const char* Group;
    const char* Name;
    std::uint8_t Type;
    std::uint8_t Offset;
};
constexpr Row kRows[] = {
    {"bios", "vendor", 0, 0x04},          {"bios", "version", 0, 0x05},
    {"bios", "release_date", 0, 0x08},    {"system", "manufacturer", 1, 0x04},
    {"system", "product", 1, 0x05},       {"system", "version", 1, 0x06},
    {"system", "serial", 1, 0x07},        {"board", "manufacturer", 2, 0x04},
    {"board", "product", 2, 0x05},        {"board", "version", 2, 0x06},
    {"board", "serial", 2, 0x07},         {"board", "asset_tag", 2, 0x08},
    {"chassis", "manufacturer", 3, 0x04}, {"chassis", "version", 3, 0x06},
    {"chassis", "serial", 3, 0x07},       {"chassis", "asset_tag", 3, 0x08},
};
constexpr std::uint8_t kSystemType = 1;

const _DMI_20_HEADER* FirstOf(const CSMBios& smbios, std::uint8_t type) {
    const CSMBios::StructureList& list = smbios.GetStructures(type);
    return list.empty() ? nullptr : list.front();
}

std::string ReadText(const CSMBios& smbios, const Row& row) {
    const _DMI_20_HEADER* const structure = FirstOf(smbios, row.Type);
    if (structure == nullptr || row.Offset >= structure->Length) {
        return {};
    }
    const auto number = smbios.FindByte(structure, row.Offset);
    const auto text = number ? smbios.FindString(structure, *number) : std::nullopt;
    return std::string(text.value_or(""));
}

// DSP0134 7.2.1: the first three fields are little-endian; all zeros and all ones are none.
std::string ReadUuid(const CSMBios& smbios) {
    constexpr std::uint8_t kOffset = 0x08;
    constexpr std::array<std::size_t, 16> kOrder = {3, 2, 1,  0,  5,  4,  7,  6,
                                                    8, 9, 10, 11, 12, 13, 14, 15};
    const _DMI_20_HEADER* const structure = FirstOf(smbios, kSystemType);
    if (structure == nullptr || structure->Length < kOffset + kOrder.size()) {
        return {};
    }
    std::string text;
    unsigned int zeros = 0;
    unsigned int ones = 0;
    for (std::size_t i = 0; i < kOrder.size(); ++i) {
        const unsigned int byte = smbios.FindByte(structure, kOffset + kOrder[i]).value_or(0);
        zeros += byte == 0 ? 1 : 0;
        ones += byte == 0xFF ? 1 : 0;
        char digits[4];
        (void)std::snprintf(digits, sizeof digits, "%02x", byte);
        text += i == 4 || i == 6 || i == 8 || i == 10 ? "-" : "";
        text += digits;
    }
    return zeros == kOrder.size() || ones == kOrder.size() ? std::string() : text;
}

}  // namespace

FirmwareReport ReportFirmware(const CSMBios& smbios, bool isComplete) {
    FirmwareReport report;
    report.IsKnown = !smbios.GetData().IsEmpty();
    if (!report.IsKnown) {
        return report;
    }
    report.Major = static_cast<unsigned int>(smbios.GetRevision().Major);
    report.Minor = static_cast<unsigned int>(smbios.GetRevision().Minor);
    report.IsComplete = isComplete;
    for (const Row& row : kRows) {
        report.Texts.push_back({row.Group, row.Name, ReadText(smbios, row)});
    }
    report.Texts.push_back({"system", "uuid", ReadUuid(smbios)});
    return report;
}

FirmwareReport ReadFirmware() {
    CSMBios smbios;
    const bool isComplete = smbios.Connect();
    return ReportFirmware(smbios, isComplete);
}

}  // namespace inventory

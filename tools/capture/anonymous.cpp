// Two passes: the fields that are known to hold such numbers, then every path, link and text in
// which one of them stands again.
#include "tools/capture/anonymous.h"

#include <algorithm>
#include <array>
#include <optional>

#include "base/paths.h"
#include "hardware/scsi_inquiry.h"
#include "hardware/smbios_walk.h"
#include "tools/capture/pseudonyms.h"

namespace tools {

namespace {

using Replace = std::string (*)(CPseudonyms&, const std::string&);

constexpr std::size_t kWwnKept = 1;  // the first digit tells the kind of name

// The text without the white space around it is replaced.
template <typename Function>
std::string ReplaceTrimmed(const std::string& text, const Function& replace) {
    constexpr std::string_view kAround(" \t\r\n\0", 5);
    const std::size_t begin = std::min(text.find_first_not_of(kAround), text.size());
    const std::size_t end = text.find_last_not_of(kAround) + 1;
    return begin >= end ? text
                        : text.substr(0, begin) + replace(text.substr(begin, end - begin)) +
                              text.substr(end);
}

std::string ReplaceSerial(CPseudonyms& names, const std::string& text) {
    return ReplaceTrimmed(text, [&](const std::string& serial) { return names.OfText(serial); });
}

std::string ReplaceMac(CPseudonyms& names, const std::string& text) {
    return names.OfHex(text);
}

// "0x5000c500a1b2c3d4"
std::string ReplaceWwn(CPseudonyms& names, const std::string& text) {
    return text.starts_with("0x") ? "0x" + names.OfHex(text.substr(2), kWwnKept) : text;
}

// "naa.5000c500a1b2c3d4", "eui.0025388b71b2c3d4", "uuid...", or "t10." and "nvme." with parts that
// hold the serial number in the one or other form.
std::string ReplaceWwid(CPseudonyms& names, const std::string& text) {
    const std::size_t dot = text.find('.');
    if (dot == std::string::npos) {
        return ReplaceSerial(names, text);
    }
    const std::string kind = text.substr(0, dot + 1);
    const std::string name = text.substr(dot + 1);
    if (kind == "naa." || kind == "eui." || kind == "uuid.") {
        return kind + names.OfHex(name, kind == "naa." ? kWwnKept : 0);
    }
    if (kind == "nvme.") {
        const std::size_t dash = name.find('-');
        const std::size_t end = std::min(name.find('-', dash + 1), name.size());
        return dash == std::string::npos
                   ? kind + names.OfHex(name)
                   : kind + name.substr(0, dash + 1) +
                         names.OfHex(name.substr(dash + 1, end - dash - 1)) + name.substr(end);
    }
    // Maker and model stand before the last blank, the serial number behind it.
    const std::size_t blank = name.find_last_of(" _", name.find_last_not_of(" _\n"));
    const std::size_t serial = blank == std::string::npos ? 0 : blank + 1;
    return kind + name.substr(0, serial) + ReplaceSerial(names, name.substr(serial));
}

std::string ReplaceSerialPage(CPseudonyms& names, const std::string& page) {
    constexpr std::size_t kHeadSize = 4;
    return page.size() < kHeadSize
               ? page
               : page.substr(0, kHeadSize) + ReplaceSerial(names, page.substr(kHeadSize));
}

std::string ReplaceDesignator(CPseudonyms& names, const scsi::Designator& designator) {
    constexpr std::uint8_t kBinary = 1;
    constexpr std::uint8_t kVendorType = 1;
    constexpr std::uint8_t kNaaType = 3;
    constexpr std::size_t kVendorSize = 8;
    constexpr std::size_t kAtaSerial = 48;  // behind maker and model
    const std::string bytes(designator.Bytes.Text());
    if (designator.CodeSet == kBinary) {
        return names.OfBytes(bytes, designator.Type == kNaaType ? kWwnKept : 0);
    }
    if (designator.Type != kVendorType) {
        return ReplaceWwid(names, bytes);
    }
    const std::size_t kept =
        std::min(bytes.starts_with("ATA ") && bytes.size() > kAtaSerial ? kAtaSerial : kVendorSize,
                 bytes.size());
    // A serial number that is known by itself stays recognisable.
    const std::string known = names.ReplaceIn(bytes);
    return known != bytes ? known
                          : bytes.substr(0, kept) + ReplaceSerial(names, bytes.substr(kept));
}

std::string ReplaceIdentityPage(CPseudonyms& names, const std::string& page) {
    std::string result = page;
    for (const scsi::Designator& designator : scsi::ParseDesignators(CByteView(page))) {
        const std::string_view bytes = designator.Bytes.Text();
        if (!bytes.empty()) {
            result.replace(static_cast<std::size_t>(bytes.data() - page.data()), bytes.size(),
                           ReplaceDesignator(names, designator));
        }
    }
    return result;
}

// Strings of the SMBIOS table, by type and the offset of their number (DSP0134, chapter 7).
constexpr struct {
    std::uint8_t Type;
    std::uint8_t Offset;
} kSmbiosTexts[] = {{1, 0x07}, {2, 0x07},  {2, 0x08},  {3, 0x07},  {3, 0x08},  {4, 0x20},
                    {4, 0x21}, {17, 0x18}, {17, 0x19}, {22, 0x07}, {39, 0x08}, {39, 0x09}};

void ReplaceSmbiosUuid(CPseudonyms& names, const std::string& table,
                       const smbios_tables::Structure& structure, std::string& result) {
    constexpr std::size_t kOffset = 8;
    constexpr std::size_t kSize = 16;
    if (structure.Type == 1 && structure.Formatted.Holds(kOffset, kSize)) {
        const std::size_t at = structure.Offset + kOffset;
        result.replace(at, kSize, names.OfBytes(std::string_view(table).substr(at, kSize)));
    }
}

std::string ReplaceSmbios(CPseudonyms& names, const std::string& table) {
    std::string result = table;
    smbios_tables::CTableWalk walk{CByteView(table)};
    auto step = smbios_tables::WalkStep::kNext;
    while (step == smbios_tables::WalkStep::kNext) {
        smbios_tables::Structure structure;
        step = walk.Take(structure);
        const auto strings = smbios_tables::SplitStrings(structure);
        for (const auto& field : kSmbiosTexts) {
            const bool isThere =
                structure.Type == field.Type && structure.Formatted.Holds(field.Offset, 1);
            const std::size_t number = isThere ? structure.Formatted.Data()[field.Offset] : 0U;
            if (number == 0 || number > strings.size() || strings[number - 1].empty()) {
                continue;
            }
            const std::string_view text = strings[number - 1];
            result.replace(static_cast<std::size_t>(text.data() - table.data()), text.size(),
                           ReplaceSerial(names, std::string(text)));
        }
        ReplaceSmbiosUuid(names, table, structure, result);
    }
    return result;
}

constexpr struct {
    const char* Name;  // of the file
    Replace How;
} kFields[] = {
    {"serial", ReplaceSerial},        {"node_name", ReplaceWwn},         {"port_name", ReplaceWwn},
    {"host_sas_address", ReplaceWwn}, {"sas_address", ReplaceWwn},       {"wwid", ReplaceWwid},
    {"vpd_pg80", ReplaceSerialPage},  {"vpd_pg83", ReplaceIdentityPage},
};

std::optional<std::string> ReplaceField(CPseudonyms& names, const std::string& path,
                                        const std::string& text) {
    const std::string name = path.substr(path.rfind('/') + 1);
    if (path == paths::kSmbiosTable) {
        return ReplaceSmbios(names, text);
    }
    if (name == "address" && path.find("/net/") != std::string::npos) {
        return ReplaceMac(names, text);
    }
    for (const auto& field : kFields) {
        if (name == field.Name) {
            return field.How(names, text);
        }
    }
    return std::nullopt;
}

// The file systems' own short numbers, too.
void LearnUuids(CPseudonyms& names, const std::string& path) {
    for (const char* const folder : {paths::kDiskByUuid, paths::kDiskByPartitionUuid}) {
        if (path.starts_with(std::string(folder) + '/')) {
            (void)names.OfHex(path.substr(path.rfind('/') + 1));
        }
    }
}

std::string ReplaceInPath(CPseudonyms& names, const std::string& path) {
    const std::size_t slash = path.rfind('/');
    for (const char* const folder : {paths::kDiskByUuid, paths::kDiskByPartitionUuid}) {
        if (path.starts_with(std::string(folder) + '/')) {
            return path.substr(0, slash + 1) + names.OfHex(path.substr(slash + 1));
        }
    }
    return names.ReplaceIn(path);
}

// Whether the text may name devices beside its own.
bool IsFreeText(const std::string& path) {
    return path == paths::kMtab || path == paths::kSmbiosTable || path.ends_with("/vpd_pg83") ||
           path.ends_with("/wwid");
}

}  // namespace

CCapturedTree MakeAnonymous(const CCapturedTree& tree) {
    CPseudonyms names;
    std::map<std::string, CapturedItem> items = tree.Items;
    // Serial numbers by themselves first: the other fields may hold them inside a longer text.
    for (const bool isFirst : {true, false}) {
        for (auto& [path, item] : items) {
            const bool isLonger = path.ends_with("/wwid") || path.ends_with("/vpd_pg83");
            if (item.Kind != CapturedItem::EKind::kFile || isLonger == isFirst) {
                continue;
            }
            item.Text = ReplaceField(names, path, item.Text).value_or(item.Text);
        }
    }
    CCapturedTree anonymous;
    for (const auto& [path, item] : items) {
        LearnUuids(names, path);
    }
    for (auto& [path, item] : items) {
        if (item.Kind == CapturedItem::EKind::kLink || IsFreeText(path)) {
            item.Text = names.ReplaceIn(item.Text);
        }
        anonymous.Items.emplace(ReplaceInPath(names, path), std::move(item));
    }
    anonymous.Gaps = tree.Gaps;
    return anonymous;
}

}  // namespace tools

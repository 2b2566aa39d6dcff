#include "hardware/scsi_inquiry.h"

#include <algorithm>
#include <string_view>

namespace scsi {

namespace {

// Designator types, code sets and the association that are used here.
constexpr std::uint8_t kBinary = 1;
constexpr std::uint8_t kAscii = 2;
constexpr std::uint8_t kLogicalUnit = 0;
constexpr std::uint8_t kT10Vendor = 1;
constexpr std::uint8_t kEui64 = 2;
constexpr std::uint8_t kNaa = 3;

// Without blanks and NULs around it.
std::string_view Trim(std::string_view text) {
    constexpr std::string_view kAround(" \0", 2);
    text.remove_prefix(std::min(text.find_first_not_of(kAround), text.size()));
    return text.substr(0, text.find_last_not_of(kAround) + 1);
}

bool IsAsciiText(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

// A text field of a fixed place: empty when it is not wholly inside or no ASCII text.
std::string TextField(CByteView data, std::size_t offset, std::size_t length) {
    const std::string_view text =
        data.Holds(offset, length) ? Trim(data.Part(offset, length).Text()) : std::string_view();
    return std::string(IsAsciiText(text) ? text : std::string_view());
}

// What stands behind the head of page `code`; none when it is another page or cut.
std::optional<CByteView> PageBody(CByteView page, std::uint8_t code) {
    constexpr std::size_t kHeadSize = 4;
    if (!page.Holds(0, kHeadSize) || page.Data()[1] != code) {
        return std::nullopt;
    }
    const std::size_t length = page.Data()[2] * 256U + page.Data()[3];
    if (!page.Holds(kHeadSize, length)) {
        return std::nullopt;
    }
    return page.Part(kHeadSize, length);
}

std::string Hexadecimal(CByteView bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < bytes.Size(); ++i) {
        text += kDigits[bytes.Data()[i] >> 4U];
        text += kDigits[bytes.Data()[i] & 0xFU];
    }
    return text;
}

// The bytes of the unit's longest binary designator of that type.
CByteView LongestName(const std::vector<Designator>& designators, std::uint8_t type) {
    constexpr std::size_t kLengthMin = 8;
    constexpr std::size_t kLengthMax = 16;
    CByteView longest;
    for (const Designator& designator : designators) {
        const std::size_t length = designator.Bytes.Size();
        if (designator.Type == type && designator.Association == kLogicalUnit &&
            designator.CodeSet == kBinary && length >= kLengthMin && length <= kLengthMax &&
            length > longest.Size()) {
            longest = designator.Bytes;
        }
    }
    return longest;
}

}  // namespace

std::optional<StandardInquiry> ParseStandardInquiry(CByteView data) {
    constexpr std::size_t kHeadSize = 5;
    constexpr std::uint8_t kRemovable = 0x80;
    if (!data.Holds(0, kHeadSize)) {
        return std::nullopt;
    }
    const unsigned char* const bytes = data.Data();
    const CByteView given = data.Part(0, kHeadSize + bytes[4]);
    StandardInquiry inquiry;
    inquiry.Qualifier = bytes[0] >> 5U;
    inquiry.DeviceType = bytes[0] & 0x1FU;
    inquiry.IsRemovable = (bytes[1] & kRemovable) != 0;
    inquiry.Version = bytes[2];
    inquiry.Vendor = TextField(given, 8, 8);
    inquiry.Product = TextField(given, 16, 16);
    inquiry.Revision = TextField(given, 32, 4);
    return inquiry;
}

std::optional<std::string> ParseUnitSerial(CByteView page) {
    // Standard data of a removable device have 80h in the page code's place. Their length byte then
    // is the serial number's first character, and no printable one.
    const std::optional<CByteView> body = PageBody(page, kUnitSerialPage);
    if (!body) {
        return std::nullopt;
    }
    const std::string_view text = Trim(body->Text());
    return IsAsciiText(text) ? std::optional(std::string(text)) : std::nullopt;
}

std::vector<Designator> ParseDesignators(CByteView page) {
    constexpr std::size_t kHeadSize = 4;
    std::vector<Designator> designators;
    CByteView rest = PageBody(page, kIdentificationPage).value_or(CByteView());
    while (rest.Holds(0, kHeadSize) && rest.Holds(kHeadSize, rest.Data()[3])) {
        const unsigned char* const head = rest.Data();
        Designator designator;
        designator.CodeSet = head[0] & 0xFU;
        designator.Association = (head[1] >> 4U) & 3U;
        designator.Type = head[1] & 0xFU;
        designator.Bytes = rest.Part(kHeadSize, head[3]);
        designators.push_back(designator);
        rest = rest.Part(kHeadSize + designator.Bytes.Size());
    }
    return designators;
}

std::string WorldWideName(const std::vector<Designator>& designators) {
    const CByteView naa = LongestName(designators, kNaa);
    if (!naa.IsEmpty()) {
        return "0x" + Hexadecimal(naa);
    }
    const CByteView eui = LongestName(designators, kEui64);
    return eui.IsEmpty() ? std::string() : "eui." + Hexadecimal(eui);
}

std::optional<AtaIdentity> FindAtaIdentity(const std::vector<Designator>& designators) {
    constexpr std::size_t kVendorSize = 8;
    constexpr std::size_t kModelSize = 40;
    constexpr std::size_t kSerialSize = 20;
    for (const Designator& designator : designators) {
        if (designator.Type == kT10Vendor && designator.Association == kLogicalUnit &&
            designator.CodeSet == kAscii &&
            designator.Bytes.Size() == kVendorSize + kModelSize + kSerialSize &&
            designator.Bytes.Text().starts_with("ATA     ")) {
            return AtaIdentity{TextField(designator.Bytes, kVendorSize, kModelSize),
                               TextField(designator.Bytes, kVendorSize + kModelSize, kSerialSize)};
        }
    }
    return std::nullopt;
}

}  // namespace scsi

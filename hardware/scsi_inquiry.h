// Pure reading of what a SCSI device answers to INQUIRY: standard data and vital product data pages
// 80h and 83h (T10 SPC-4, 6.4.2 and 7.8).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/byte_view.h"

namespace scsi {

inline constexpr std::uint8_t kUnitSerialPage = 0x80;
inline constexpr std::uint8_t kIdentificationPage = 0x83;

struct StandardInquiry {
    std::uint8_t Qualifier = 0;   // 0: the device is there
    std::uint8_t DeviceType = 0;  // 0 disk, 1 tape, 5 CD/DVD, 14 simple disk, 20 zoned disk
    bool IsRemovable = false;
    std::uint8_t Version = 0;  // of the standard that is claimed
    // Without the blanks around them; empty when the data end before.
    std::string Vendor;
    std::string Product;
    std::string Revision;
};
// None when fewer than 5 bytes are there. Fields behind the additional length count as not given.
[[nodiscard]] std::optional<StandardInquiry> ParseStandardInquiry(CByteView data);

// The serial number of page 80h without the blanks around it, which may leave nothing. None when
// the bytes are another page or standard data, when the page is cut, or when it is no ASCII text.
[[nodiscard]] std::optional<std::string> ParseUnitSerial(CByteView page);

// One designator of page 83h.
struct Designator {
    std::uint8_t CodeSet = 0;      // 1 binary, 2 ASCII, 3 UTF-8
    std::uint8_t Association = 0;  // 0 the logical unit, 1 the port, 2 the device
    std::uint8_t Type = 0;         // 1 T10 vendor, 2 EUI-64, 3 NAA, 8 SCSI name
    CByteView Bytes;               // of the page
};
// The designators that lie wholly inside the page, in its order. None at all when the bytes are
// another page, or when the page is cut.
[[nodiscard]] std::vector<Designator> ParseDesignators(CByteView page);

// The name of the logical unit that is unique in the world: "0x" and the hexadecimal digits of the
// longest NAA designator, else "eui." and those of the longest EUI-64; empty when there is neither.
[[nodiscard]] std::string WorldWideName(const std::vector<Designator>& designators);

// What an ATA drive behind a SCSI layer says of itself (T10 SAT-3, 10.3.4.2.3).
struct AtaIdentity {
    std::string Model;   // of up to 40 characters; standard data hold 16 of them
    std::string Serial;  // of up to 20
};
[[nodiscard]] std::optional<AtaIdentity> FindAtaIdentity(
    const std::vector<Designator>& designators);

}  // namespace scsi

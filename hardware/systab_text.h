// Pure reading of the EFI system table's text: one "KEY=ADDRESS" on a line.
#pragma once

#include <cstdint>
#include <string_view>

namespace smbios_tables {

// The address behind the first line whose key is exactly `key`, decimal, 0x hexadecimal or 0 octal;
// what follows the number is ignored. 0 when there is no such line or no number. A line is cut
// after 255 characters, and what is behind the cut counts as the next one.
[[nodiscard]] std::uint64_t FindSystabAddress(std::string_view text, std::string_view key);

}  // namespace smbios_tables

// What `morlactl smbios` shows of a structure table: JSON, or lines of text.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "hardware/smbios.h"
#include "inventory/json_text.h"

namespace tools {

using json_text::Json;

// The type to show; none: all of them.
using WantedType = std::optional<std::uint8_t>;

// Layout version 1, in docs/hardware.md. `isComplete`: the table did not break off.
[[nodiscard]] Json DescribeSmbios(const CSMBios& smbios, bool isComplete, WantedType type);

// One line for the tables, then for each structure one and one more for each of its strings, whose
// bytes stand there as the firmware has them.
[[nodiscard]] std::vector<std::string> ListSmbios(const CSMBios& smbios, WantedType type);

}  // namespace tools

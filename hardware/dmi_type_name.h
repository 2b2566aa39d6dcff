// The names of the SMBIOS structure types (DMTF DSP0134, chapter 7).
#pragma once

#include <cstdint>

// Never null; types from 128 are the makers' own.
[[nodiscard]] const char* DmiTypeName(std::uint8_t type);

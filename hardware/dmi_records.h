// The SMBIOS records that are read as they stand in memory: DMTF DSP0134, chapters 5 and 6.
//
// All numbers are little-endian. The records are packed, because the firmware puts them at any
// address; the layout is the standard's, proved below.
#pragma once

#include <cstddef>
#include <cstdint>

// The head of every structure (DSP0134 6.1.2). `Length` further bytes down, counted from `Type`,
// the strings follow.
struct __attribute__((packed)) _DMI_20_HEADER {
    std::uint8_t Type;
    std::uint8_t Length;  // bytes of the formatted area with this head
    std::uint16_t Handle;
};
static_assert(offsetof(_DMI_20_HEADER, Handle) == 2 && sizeof(_DMI_20_HEADER) == 4);
static_assert(alignof(_DMI_20_HEADER) == 1);

// The 32-bit entry point (DSP0134 5.2.1).
struct __attribute__((packed)) _DMI_21_EPS {
    char Anchor[4];                      // "_SM_"
    std::uint8_t Checksum;               // of `Length` bytes
    std::uint8_t Length;                 // of the entry point
    std::uint8_t MajorVersion;           // of the standard
    std::uint8_t MinorVersion;           //
    std::uint16_t MaximumStructureSize;  // bytes
    std::uint8_t Revision;               // of the entry point's layout
    std::uint8_t FormattedArea[5];       //
    char IntermediateAnchor[5];          // "_DMI_"
    std::uint8_t IntermediateChecksum;   // of the 15 bytes from IntermediateAnchor
    std::uint16_t TableLength;           // bytes
    std::uint32_t TableAddress;          // physical
    std::uint16_t StructureCount;        //
    std::uint8_t BcdRevision;            //
};
static_assert(offsetof(_DMI_21_EPS, Length) == 0x05 && offsetof(_DMI_21_EPS, MajorVersion) == 0x06);
static_assert(offsetof(_DMI_21_EPS, IntermediateAnchor) == 0x10);
static_assert(offsetof(_DMI_21_EPS, TableLength) == 0x16);
static_assert(offsetof(_DMI_21_EPS, TableAddress) == 0x18);
static_assert(offsetof(_DMI_21_EPS, StructureCount) == 0x1C);
static_assert(offsetof(_DMI_21_EPS, BcdRevision) == 0x1E && sizeof(_DMI_21_EPS) == 31);

// The 64-bit entry point (DSP0134 5.2.2).
struct __attribute__((packed)) _DMI_30_EPS {
    char Anchor[5];                  // "_SM3_"
    std::uint8_t Checksum;           // of `Length` bytes
    std::uint8_t Length;             // of the entry point
    std::uint8_t MajorVersion;       // of the standard
    std::uint8_t MinorVersion;       //
    std::uint8_t DocumentRevision;   //
    std::uint8_t Revision;           // of the entry point's layout
    std::uint8_t Reserved;           //
    std::uint32_t TableMaximumSize;  // bytes
    std::uint64_t TableAddress;      // physical
};
static_assert(offsetof(_DMI_30_EPS, MajorVersion) == 0x07);
static_assert(offsetof(_DMI_30_EPS, TableMaximumSize) == 0x0C);
static_assert(offsetof(_DMI_30_EPS, TableAddress) == 0x10 && sizeof(_DMI_30_EPS) == 24);

inline constexpr std::uint8_t kDmiEndOfTable = 127;  // structure type (DSP0134 7.45)

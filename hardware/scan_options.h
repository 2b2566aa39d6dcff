// What a caller may ask of a hardware scan: the record `_ScanOptions`.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/export.h"

inline constexpr std::uint32_t kScanOptionsVersion = 1;

// Bits of _ScanOptions::Flags.
enum ScanOptionFlag : std::uint32_t {
    kScanNoInquiry = 0x1,       // no command is sent to a drive: /sys alone tells its serial number
    kScanNetworkVolumes = 0x2,  // sizes of volumes on network and user-space file systems too
    kScanNoVolumeSizes = 0x4,   // no file system is touched
};

// Crosses the boundary between a module and the host services. A null pointer, another version and
// a record too short for `Version` and `Size` stand for the defaults, which are flags 0 and the
// limits below. Later versions of the record only grow: what lies behind `Size` counts as 0.
struct _ScanOptions {
    std::uint32_t Version;         // in: kScanOptionsVersion
    std::uint32_t Size;            // in: bytes of this record, sizeof(_ScanOptions)
    std::uint32_t Flags;           // in: bits of ScanOptionFlag; others are ignored
    std::uint32_t InquiryLimitMs;  // in: time of one command to a drive; 0 is 2000
    std::uint32_t VolumeLimitMs;   // in: time to wait for one file system; 0 is 2000
    std::uint32_t VolumesLimitMs;  // in: time to wait for all file systems of a scan; 0 is 10000
    std::uint32_t DrivesLimitMs;   // in: time to wait for all commands of a scan; 0 is 10000
};
static_assert(offsetof(_ScanOptions, Size) == 4 && offsetof(_ScanOptions, Flags) == 8);
static_assert(offsetof(_ScanOptions, InquiryLimitMs) == 12);
static_assert(offsetof(_ScanOptions, VolumeLimitMs) == 16);
static_assert(offsetof(_ScanOptions, VolumesLimitMs) == 20);
static_assert(offsetof(_ScanOptions, DrivesLimitMs) == 24 && sizeof(_ScanOptions) == 28);

// The options with their defaults filled in, so that no limit is 0. Reads `Size` bytes at most.
[[nodiscard]] MORLA_API _ScanOptions EffectiveScanOptions(const _ScanOptions* options);

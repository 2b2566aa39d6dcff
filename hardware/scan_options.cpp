#include "hardware/scan_options.h"

#include <algorithm>
#include <cstring>

_ScanOptions EffectiveScanOptions(const _ScanOptions* options) {
    constexpr std::uint32_t kLimitMs = 2000;
    constexpr std::uint32_t kAllMs = 10000;
    constexpr std::uint32_t kHeadSize = offsetof(_ScanOptions, Flags);
    _ScanOptions effective{};
    if (options != nullptr && options->Version == kScanOptionsVersion &&
        options->Size >= kHeadSize) {
        std::memcpy(&effective, options, std::min<std::size_t>(options->Size, sizeof effective));
    }
    effective.Version = kScanOptionsVersion;
    effective.Size = sizeof effective;
    const auto fill = [](std::uint32_t& limit, std::uint32_t value) {
        limit = limit != 0 ? limit : value;
    };
    fill(effective.InquiryLimitMs, kLimitMs);
    fill(effective.VolumeLimitMs, kLimitMs);
    fill(effective.VolumesLimitMs, kAllMs);
    fill(effective.DrivesLimitMs, kAllMs);
    return effective;
}

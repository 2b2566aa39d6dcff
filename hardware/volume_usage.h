// How full a file system is, asked so that one that never answers holds nobody.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "hardware/finding.h"
#include "hardware/scan_options.h"
#include "hardware/scan_time.h"
#include "hardware/volume_kind.h"

// In bytes.
struct VolumeUsage {
    std::uint64_t Size = 0;
    std::uint64_t Free = 0;
    std::uint64_t Available = 0;  // to users without privilege

    bool operator==(const VolumeUsage& other) const = default;
};

// Reads the usages of one scan. Every file system is asked in a thread that can be given up
// (bounded_call), disks too: a drive that died holds its readers like a server that did. All
// questions of the scan together wait no longer than VolumesLimitMs.
class CVolumeUsageReader {
public:
    // Effective options.
    explicit CVolumeUsageReader(const _ScanOptions& options);

    // Of the file system of that kind that is mounted at `mountPoint`; why not otherwise.
    [[nodiscard]] CFinding<VolumeUsage> Read(VolumeKind kind, const std::string& mountPoint);

private:
    [[nodiscard]] const char* ReasonNotToTouch(VolumeKind kind) const;

    std::uint32_t m_Flags;
    std::chrono::milliseconds m_Limit;  // of one question
    CScanTime m_Time;
};

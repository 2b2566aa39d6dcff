#include "hardware/volume_usage.h"

#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <memory>

#include "base/error_text.h"

namespace {

using Usage = CFinding<VolumeUsage>;

// What the system answered; written by the thread that asks, read when it is done.
struct Answer {
    int Error = 0;
    struct statvfs Status {};
};

Usage UsageOf(const struct statvfs& status) {
    const std::uint64_t unit = status.f_frsize != 0 ? status.f_frsize : status.f_bsize;
    if (status.f_blocks == 0 || unit == 0) {
        return Usage::Absent("the file system gives no size");
    }
    if (status.f_blocks > std::numeric_limits<std::uint64_t>::max() / unit) {
        return Usage::Absent("the file system gives a size beyond 64 bits");
    }
    return Usage({status.f_blocks * unit, std::min(status.f_bfree, status.f_blocks) * unit,
                  std::min(status.f_bavail, status.f_blocks) * unit});
}

}  // namespace

CVolumeUsageReader::CVolumeUsageReader(const _ScanOptions& options)
    : m_Flags(options.Flags), m_Limit(options.VolumeLimitMs), m_Time(options.VolumesLimitMs) {}

const char* CVolumeUsageReader::ReasonNotToTouch(VolumeKind kind) const {
    if (kind == VolumeKind::kPseudo) {
        return "a pseudo file system has no size";
    }
    if (kind == VolumeKind::kAutomount) {
        return "touching it would mount something";
    }
    if ((m_Flags & kScanNoVolumeSizes) != 0) {
        return "the scan was not to touch file systems";
    }
    const bool isLocal = kind == VolumeKind::kDisk || kind == VolumeKind::kLayered;
    if (!isLocal && (m_Flags & kScanNetworkVolumes) == 0) {
        return "network and user-space file systems are not touched unless asked for";
    }
    return nullptr;
}

CFinding<VolumeUsage> CVolumeUsageReader::Read(VolumeKind kind, const std::string& mountPoint) {
    const char* const reason = ReasonNotToTouch(kind);
    if (reason != nullptr) {
        return Usage::Absent(reason);
    }
    if (m_Time.IsUsedUp()) {
        return Usage::Absent(CScanTime::kUsedUp);
    }
    const auto answer = std::make_shared<Answer>();
    const auto outcome = m_Time.Run("statvfs " + mountPoint, m_Limit, [answer, mountPoint] {
        answer->Error = statvfs(mountPoint.c_str(), &answer->Status) != 0 ? errno : 0;
    });
    if (outcome != bounded_call::Outcome::kDone) {
        return Usage::Absent(bounded_call::Reason(outcome));
    }
    return answer->Error == 0 ? UsageOf(answer->Status)
                              : Usage::Absent(CErrorText(answer->Error).Get());
}

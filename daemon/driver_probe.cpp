#include "daemon/driver_probe.h"

#include <fcntl.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/bounded_text.h"
#include "base/error_text.h"
#include "base/paths.h"
#include "base/unique_fd.h"
#include "daemon/daemon_tag.h"
#include "daemon/guarded_trace.h"

using daemon_names::kTag;

namespace {

// A value of full field length stays without a terminator.
template <std::size_t Size>
void SetField(char (&field)[Size], const char* value) {
    if (value != nullptr) {
        std::memcpy(field, value, strnlen(value, Size));
    }
}

// A field's text with a terminator: the driver may fill a field to its end.
template <std::size_t Size>
class CTerminated {
public:
    explicit CTerminated(const char (&field)[Size]) { CopyText(m_Text, FieldText(field)); }
    [[nodiscard]] const char* Get() const { return static_cast<const char*>(m_Text); }

private:
    char m_Text[Size + 1];
};

// Sends the request. False, with its reason traced, when there is no driver or it refuses.
bool AskDriver(SmbusDriverInfoHeader& header) {
    const CUniqueFd device(open(paths::kSmbusDevice, O_RDWR | O_CLOEXEC));
    const int openError = errno;
    if (!device.IsValid()) {
        TraceIfActive(2, "%s-MAIN::DiscoverSmbusDriverInfo: cannot open %s (errno=%d: %s)\n", kTag,
                      paths::kSmbusDevice, openError, CErrorText(openError).Get());
        return false;
    }
    const int result = ioctl(device.Get(), kIoctlSmbusDriverInfo, &header);
    const int error = errno;
    if (result < 0) {
        TraceIfActive(2,
                      "%s-MAIN::DiscoverSmbusDriverInfo: IOCTL_SMBUS_DRIVER_INFO (0x%08X) to %s "
                      "failed (errno=%d: %s)\n",
                      kTag, kIoctlSmbusDriverInfo, paths::kSmbusDevice, error,
                      CErrorText(error).Get());
        return false;
    }
    return true;
}

void TraceHeader(const SmbusDriverInfoHeader& header) {
    TraceIfActive(2, "Version                     : 0x%08X\n", header.Version);
    TraceIfActive(2, "CmdNumber                   : 0x%08X\n", header.CmdNumber);
    TraceIfActive(2, "SizeOfInOutBuffer           : 0x%08X\n", header.SizeOfInOutBuffer);
    // Deliberate: %p writes a "0x" of its own, so that the line shows it twice.
    TraceIfActive(2, "pInOutBuffer                : 0x%p\n",
                  static_cast<void*>(header.pInOutBuffer));
    TraceIfActive(2, "Success                     : 0x%08X\n", header.Success);
}

void TraceNumbers(const SmbusDriverInfo& info) {
    TraceIfActive(2, "OSKernelVersionCode         : 0x%08X\n", info.OSKernelVersionCode);
    TraceIfActive(2, "smbus_VersionCode           : 0x%08X\n", info.smbus_VersionCode);
    TraceIfActive(2, "smbus_ArchMode              : 0x%08X\n", info.smbus_ArchMode);
    TraceIfActive(2, "smbus_ArchXEN               : 0x%08X\n", info.smbus_ArchXEN);
    TraceIfActive(2, "smbus_ArchFacil             : 0x%08X\n", info.smbus_ArchFacil);
    TraceIfActive(2, "RequestorVersion            : 0x%08X\n", info.RequestorVersion);
    TraceIfActive(2, "smbus_IsSmbiHwFound         : 0x%08X\n", info.smbus_IsSmbiHwFound);
    TraceIfActive(2, "smbus_IsBapiHwFound         : 0x%08X\n", info.smbus_IsBapiHwFound);
    TraceIfActive(2, "smbus_IsGabiHwFound         : 0x%08X\n", info.smbus_IsGabiHwFound);
    TraceIfActive(2, "smbus_IsSmbusHwFound        : 0x%08X\n", info.smbus_IsSmbusHwFound);
    TraceIfActive(2, "smbus_IsBusIoHwFound        : 0x%08X\n", info.smbus_IsBusIoHwFound);
    TraceIfActive(2, "smbus_IsCpuErrHwFound       : 0x%08X\n", info.smbus_IsCpuErrHwFound);
    TraceIfActive(2, "smbus_IsCpuApicHwFound      : 0x%08X\n", info.smbus_IsCpuApicHwFound);
    TraceIfActive(2, "smbus_IsCpuInfoHwFound      : 0x%08X\n", info.smbus_IsCpuInfoHwFound);
    TraceIfActive(2, "smbus_MajorDeviceNumber     : 0x%08X\n", info.smbus_MajorDeviceNumber);
    TraceIfActive(2, "smbus_IsKmpModule           : 0x%08X\n", info.smbus_IsKmpModule);
}

void TraceTexts(const SmbusDriverInfo& info) {
    TraceIfActive(2, "RequestorName               : %s\n", CTerminated(info.RequestorName).Get());
    TraceIfActive(2, "smbus_Name                  : %s\n", CTerminated(info.smbus_Name).Get());
    TraceIfActive(2, "smbus_SrcVersion            : %s\n",
                  CTerminated(info.smbus_SrcVersion).Get());
    TraceIfActive(2, "smbus_SrcDate               : %s\n", CTerminated(info.smbus_SrcDate).Get());
    TraceIfActive(2, "smbus_ObjDate               : %s\n", CTerminated(info.smbus_ObjDate).Get());
    TraceIfActive(2, "smbus_OsArchitecture        : %s\n",
                  CTerminated(info.smbus_OsArchitecture).Get());
    TraceIfActive(2, "smbus_OsVersion             : %s\n", CTerminated(info.smbus_OsVersion).Get());
    TraceIfActive(2, "smbus_CompilerVersion       : %s\n",
                  CTerminated(info.smbus_CompilerVersion).Get());
    TraceIfActive(2, "smbus_KernelVersion         : %s\n",
                  CTerminated(info.smbus_KernelVersion).Get());
    TraceIfActive(2, "HX_SYSTEM                   : %s\n", CTerminated(info.HX_SYSTEM).Get());
    TraceIfActive(2, "HX_OS                       : %s\n", CTerminated(info.HX_OS).Get());
    TraceIfActive(2, "HX_NICKNAME                 : %s\n", CTerminated(info.HX_NICKNAME).Get());
    TraceIfActive(2, "smbus_ErrorReturnString     : %s\n",
                  CTerminated(info.smbus_ErrorReturnString).Get());
}

void ReportAnswer(const SmbusDriverInfoHeader& header, const SmbusDriverInfo& info) {
    if (info.RequestorVersion < info.smbus_VersionCode) {
        Debug.PrintAlways(0,
                          "%s-MAIN: WARNING: zentd version (0x%08X) is less than smbus driver "
                          "version (0x%08X)\n",
                          kTag, info.RequestorVersion, info.smbus_VersionCode);
    }
    TraceIfActive(2,
                  "%s-MAIN::DiscoverSmbusDriverInfo: evaluating IOCTL_SMBUS_DRIVER_INFO (0x%08X)\n",
                  kTag, kIoctlSmbusDriverInfo);
    TraceHeader(header);
    TraceNumbers(info);
    TraceTexts(info);
}

}  // namespace

void FillRequest(SmbusDriverInfo& info, const RequestorIdentity& identity) {
    info.RequestorVersion = VersionCode(identity.Version);
    SetField(info.RequestorName, kTag);
    SetField(info.HX_SYSTEM, identity.System);
    SetField(info.HX_OS, identity.Os);
    SetField(info.HX_NICKNAME, identity.Nickname);
}

void DiscoverSmbusDriverInfo() {
    SmbusDriverInfo info{};
    FillRequest(info, {.Version = ParseVersion(kProgramVersion),
                       .System = std::getenv("HX_SYSTEM"),
                       .Os = std::getenv("HX_OS"),
                       .Nickname = std::getenv("HX_NICKNAME")});
    SmbusDriverInfoHeader header{.Version = kSmbusHeaderVersion,
                                 .CmdNumber = kSmbusCommandDriverInfo,
                                 .SizeOfInOutBuffer = sizeof info,
                                 .Reserved1 = 0,
                                 .pInOutBuffer = &info,
                                 .Success = 0,
                                 .Reserved2 = 0};
    if (AskDriver(header)) {
        ReportAnswer(header, info);
        return;
    }
    Debug.PrintAlways(0,
                      "%s-MAIN: INFO: smbus-driver is not available on this OS (But, don't worry "
                      "about this, it might be OK on some OS systems!)\n",
                      kTag);
}

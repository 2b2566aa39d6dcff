// The wire records of IOCTL_SMBUS_DRIVER_INFO, by which the hardware-access kernel driver describes
// itself: a header, the request's argument, which points to one in/out buffer.
//
// Integers are little-endian as in the host. Text is NUL-terminated unless it fills its field. The
// requester zeroes both records before it fills in its own fields.
#pragma once

#include <linux/ioctl.h>

#include <cstddef>
#include <cstdint>

inline constexpr std::uint32_t kSmbusHeaderVersion = 1;
inline constexpr std::uint32_t kSmbusCommandDriverInfo = 0xFF;
// Read and write, type "s", number 255. The size field says 8, that of a pointer, not the header's.
inline constexpr std::uint32_t kIoctlSmbusDriverInfo = _IOWR('s', kSmbusCommandDriverInfo, void*);
static_assert(kIoctlSmbusDriverInfo == 0xC00873FF);

struct SmbusDriverInfo {
    std::uint32_t OSKernelVersionCode;  // out
    std::uint8_t Reserved1[12];
    std::uint32_t smbus_VersionCode;  // out: coded as RequestorVersion
    std::uint32_t smbus_ArchMode;     // out
    std::uint32_t smbus_ArchXEN;      // out: running under a Xen hypervisor
    std::uint32_t smbus_ArchFacil;    // out
    std::uint32_t RequestorVersion;   // in: major << 16 | minor << 8 | patch
    std::uint8_t Reserved2[12];
    std::uint8_t smbus_IsSmbiHwFound;  // out: 0 or 1, this and the next seven
    std::uint8_t smbus_IsBapiHwFound;
    std::uint8_t smbus_IsGabiHwFound;
    std::uint8_t smbus_IsSmbusHwFound;
    std::uint8_t smbus_IsBusIoHwFound;
    std::uint8_t smbus_IsCpuErrHwFound;
    std::uint8_t smbus_IsCpuApicHwFound;
    std::uint8_t smbus_IsCpuInfoHwFound;
    std::uint8_t Reserved3[8];
    std::uint32_t smbus_MajorDeviceNumber;  // out: of the character device
    std::uint32_t smbus_IsKmpModule;        // out: built as a kernel module package
    std::uint8_t Reserved4[24];
    char RequestorName[32];             // in
    char smbus_Name[32];                // out
    char smbus_SrcVersion[64];          // out
    char smbus_SrcDate[64];             // out
    char smbus_ObjDate[64];             // out
    char smbus_OsArchitecture[32];      // out
    char smbus_OsVersion[64];           // out
    char smbus_CompilerVersion[128];    // out
    char smbus_KernelVersion[160];      // out
    char HX_SYSTEM[32];                 // in: the variable of that name, not terminated when full
    char HX_OS[128];                    // in: likewise
    char HX_NICKNAME[32];               // in: likewise
    char smbus_ErrorReturnString[384];  // out
};
static_assert(sizeof(SmbusDriverInfo) == 1312);
static_assert(offsetof(SmbusDriverInfo, OSKernelVersionCode) == 0);
static_assert(offsetof(SmbusDriverInfo, Reserved1) == 4);
static_assert(offsetof(SmbusDriverInfo, smbus_VersionCode) == 16);
static_assert(offsetof(SmbusDriverInfo, smbus_ArchMode) == 20);
static_assert(offsetof(SmbusDriverInfo, smbus_ArchXEN) == 24);
static_assert(offsetof(SmbusDriverInfo, smbus_ArchFacil) == 28);
static_assert(offsetof(SmbusDriverInfo, RequestorVersion) == 32);
static_assert(offsetof(SmbusDriverInfo, Reserved2) == 36);
static_assert(offsetof(SmbusDriverInfo, smbus_IsSmbiHwFound) == 48);
static_assert(offsetof(SmbusDriverInfo, smbus_IsBapiHwFound) == 49);
static_assert(offsetof(SmbusDriverInfo, smbus_IsGabiHwFound) == 50);
static_assert(offsetof(SmbusDriverInfo, smbus_IsSmbusHwFound) == 51);
static_assert(offsetof(SmbusDriverInfo, smbus_IsBusIoHwFound) == 52);
static_assert(offsetof(SmbusDriverInfo, smbus_IsCpuErrHwFound) == 53);
static_assert(offsetof(SmbusDriverInfo, smbus_IsCpuApicHwFound) == 54);
static_assert(offsetof(SmbusDriverInfo, smbus_IsCpuInfoHwFound) == 55);
static_assert(offsetof(SmbusDriverInfo, Reserved3) == 56);
static_assert(offsetof(SmbusDriverInfo, smbus_MajorDeviceNumber) == 64);
static_assert(offsetof(SmbusDriverInfo, smbus_IsKmpModule) == 68);
static_assert(offsetof(SmbusDriverInfo, Reserved4) == 72);
static_assert(offsetof(SmbusDriverInfo, RequestorName) == 96);
static_assert(offsetof(SmbusDriverInfo, smbus_Name) == 128);
static_assert(offsetof(SmbusDriverInfo, smbus_SrcVersion) == 160);
static_assert(offsetof(SmbusDriverInfo, smbus_SrcDate) == 224);
static_assert(offsetof(SmbusDriverInfo, smbus_ObjDate) == 288);
static_assert(offsetof(SmbusDriverInfo, smbus_OsArchitecture) == 352);
static_assert(offsetof(SmbusDriverInfo, smbus_OsVersion) == 384);
static_assert(offsetof(SmbusDriverInfo, smbus_CompilerVersion) == 448);
static_assert(offsetof(SmbusDriverInfo, smbus_KernelVersion) == 576);
static_assert(offsetof(SmbusDriverInfo, HX_SYSTEM) == 736);
static_assert(offsetof(SmbusDriverInfo, HX_OS) == 768);
static_assert(offsetof(SmbusDriverInfo, HX_NICKNAME) == 896);
static_assert(offsetof(SmbusDriverInfo, smbus_ErrorReturnString) == 928);

struct SmbusDriverInfoHeader {
    std::uint32_t Version;            // in: 1
    std::uint32_t CmdNumber;          // in: 0xFF
    std::uint32_t SizeOfInOutBuffer;  // in: bytes
    std::uint32_t Reserved1;
    SmbusDriverInfo* pInOutBuffer;  // in: the caller's
    std::uint32_t Success;          // out
    std::uint32_t Reserved2;
};
static_assert(sizeof(SmbusDriverInfoHeader) == 32);
static_assert(offsetof(SmbusDriverInfoHeader, Version) == 0);
static_assert(offsetof(SmbusDriverInfoHeader, CmdNumber) == 4);
static_assert(offsetof(SmbusDriverInfoHeader, SizeOfInOutBuffer) == 8);
static_assert(offsetof(SmbusDriverInfoHeader, Reserved1) == 12);
static_assert(offsetof(SmbusDriverInfoHeader, pInOutBuffer) == 16);
static_assert(offsetof(SmbusDriverInfoHeader, Success) == 24);
static_assert(offsetof(SmbusDriverInfoHeader, Reserved2) == 28);

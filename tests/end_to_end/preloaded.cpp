// Preloaded into the daemon, this plays what no test can ask of the kernel:
//
//   - the hardware-access driver, behind a regular file at /dev/pci/smbus. It writes down the
//     request as it came, the header and the buffer, and answers; the variable FAKE_DRIVER is its
//     version code, or "refuse".
//   - a fork that fails.
//   - a sigwait that gives the signal FAKE_SIGNAL, or fails with that number when it is negative.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "base/unique_fd.h"
#include "daemon/smbus_driver_info.h"
#include "morla/trace_interface.h"

namespace {

void Answer(SmbusDriverInfoHeader& header, const char* version) {
    header.Success = 1;
    SmbusDriverInfo& info = *header.pInOutBuffer;
    info.OSKernelVersionCode = 0x00050A0B;
    info.smbus_VersionCode = static_cast<std::uint32_t>(std::strtoul(version, nullptr, 0));
    info.smbus_ArchMode = 0xABCDEF01;
    info.smbus_ArchXEN = 2;
    info.smbus_ArchFacil = 3;
    std::memcpy(&info.smbus_IsSmbiHwFound, "\1\2\3\4\5\6\7\377", 8);
    info.smbus_MajorDeviceNumber = 241;
    info.smbus_IsKmpModule = 1;
    std::strcpy(info.smbus_SrcVersion, "source version");
    std::strcpy(info.smbus_SrcDate, "source date");
    std::strcpy(info.smbus_ObjDate, "object date");
    std::strcpy(info.smbus_OsArchitecture, "x86_64");
    std::strcpy(info.smbus_OsVersion, "os version");
    std::strcpy(info.smbus_CompilerVersion, "compiler");
    std::strcpy(info.smbus_KernelVersion, "kernel");
    // Without terminators.
    std::memset(info.smbus_Name, 'n', sizeof info.smbus_Name);
    std::memset(info.smbus_ErrorReturnString, 'e', sizeof info.smbus_ErrorReturnString);
}

}  // namespace

extern "C" {

MORLA_EXPORT int ioctl(int /*fd*/, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    auto* const header = va_arg(arguments, SmbusDriverInfoHeader*);
    va_end(arguments);
    const char* const version = std::getenv("FAKE_DRIVER");
    if (request != 0xC00873FF || version == nullptr || version == std::string_view("refuse")) {
        errno = ENOTTY;
        return -1;
    }
    const CUniqueFd fd(open("/tmp/driver_request", O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (write(fd.Get(), header, sizeof *header) < 0 ||
        write(fd.Get(), header->pInOutBuffer, sizeof *header->pInOutBuffer) < 0) {
        std::abort();
    }
    Answer(*header, version);
    return 0;
}

MORLA_EXPORT pid_t fork() noexcept {
    errno = EAGAIN;
    return -1;
}

MORLA_EXPORT int sigwait(const sigset_t* /*set*/, int* signal) {
    const char* const wanted = std::getenv("FAKE_SIGNAL");
    *signal = wanted != nullptr ? std::atoi(wanted) : SIGTERM;
    return *signal < 0 ? -*signal : 0;
}
}

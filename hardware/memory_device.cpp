#include "hardware/memory_device.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

namespace {

// 0, or why the range cannot be there.
int CheckRange(int fd, std::uint64_t base, std::size_t length) {
    constexpr auto kLastOffset = static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());
    if (base > kLastOffset || length > kLastOffset - base) {
        return EOVERFLOW;
    }
    struct stat status {};
    if (fstat(fd, &status) != 0) {
        return errno;
    }
    const bool isKnown = S_ISREG(status.st_mode);
    return isKnown && base + length > static_cast<std::uint64_t>(status.st_size) ? ENXIO : 0;
}

}  // namespace

std::uint64_t PageOffset(std::uint64_t address) {
    return address % static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

int MapDeviceRange(int fd, std::uint64_t base, std::size_t length, bool isWritable,
                   CFileMapping& mapping) {
    if (const int error = CheckRange(fd, base, length); error != 0) {
        return error;
    }
    const int protection = PROT_READ | (isWritable ? PROT_WRITE : 0);
    void* const data = mmap(nullptr, length, protection, MAP_SHARED, fd, static_cast<off_t>(base));
    const int error = errno;
    if (data == MAP_FAILED) {
        return error;
    }
    mapping = CFileMapping(data, length);
    return 0;
}

// The hardware-access driver, played in the process that asks it.
//
// Preloaded, or linked into a test program, this takes the place of ioctl() for the driver's
// information request; a regular file at /dev/pci/smbus lets the open() before it succeed. All
// other requests go to the kernel. The record's layout is written down here once more, so that a
// wrong one in the product shows. Settings, from the environment at each request:
//
//     FAKE_SMBUS_ERRNO     the request fails with this errno number
//     FAKE_SMBUS_VERSION   the driver's version code; 0 when not given
//     FAKE_SMBUS_FULL      when set, every text of the driver fills its field, without a terminator
//     FAKE_SMBUS_RECORD    a file that takes the 32 bytes of the header and the 1,312 of the
//                          buffer, as the caller handed them over
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "base/unique_fd.h"

namespace {

constexpr unsigned long kDriverInfoRequest = 0xC00873FF;
constexpr std::size_t kHeaderSize = 32;
constexpr std::size_t kBufferSize = 1312;
constexpr std::size_t kBufferAddressOffset = 16;  // in the header
constexpr std::size_t kSuccessOffset = 24;        // in the header

struct Number {
    std::size_t Offset;
    std::uint32_t Value;
};
struct Text {
    std::size_t Offset;
    std::size_t Size;
    const char* Value;
};

// What the driver answers, by offset in the buffer. Every field has a value of its own, so that a
// reader that takes the wrong one shows.
constexpr std::size_t kVersionOffset = 16;
constexpr Number kNumbers[] = {{0, 0x00050A0B}, {20, 2}, {24, 0}, {28, 0x0F}, {64, 241}, {68, 1}};
constexpr std::size_t kFlagsOffset = 48;
constexpr unsigned char kFlags[] = {1, 0, 1, 1, 0, 0, 1, 1};
constexpr Text kTexts[] = {
    {128, 32, "smbus"},       {160, 64, "source version"}, {224, 64, "source date"},
    {288, 64, "object date"}, {352, 32, "x86_64"},         {384, 64, "os version"},
    {448, 128, "compiler"},   {576, 160, "kernel"},        {928, 384, "no error"},
};

void Put(unsigned char* record, std::size_t offset, std::uint32_t value) {
    std::memcpy(record + offset, &value, sizeof value);
}

void Record(const unsigned char* header, const unsigned char* buffer) {
    const char* const path = std::getenv("FAKE_SMBUS_RECORD");
    if (path == nullptr) {
        return;
    }
    const CUniqueFd fd(open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (write(fd.Get(), header, kHeaderSize) < 0 || write(fd.Get(), buffer, kBufferSize) < 0) {
        std::abort();
    }
}

void FillTexts(unsigned char* buffer) {
    const bool isFull = std::getenv("FAKE_SMBUS_FULL") != nullptr;
    for (const Text& text : kTexts) {
        if (isFull) {
            std::memset(buffer + text.Offset, 'x', text.Size);
        } else {
            std::memcpy(buffer + text.Offset, text.Value, std::strlen(text.Value) + 1);
        }
    }
}

int Answer(unsigned char* header) {
    unsigned char* buffer = nullptr;
    std::memcpy(&buffer, header + kBufferAddressOffset, sizeof buffer);
    Record(header, buffer);
    if (const char* const error = std::getenv("FAKE_SMBUS_ERRNO")) {
        errno = std::atoi(error);
        return -1;
    }
    const char* const version = std::getenv("FAKE_SMBUS_VERSION");
    Put(header, kSuccessOffset, 1);
    Put(buffer, kVersionOffset,
        version == nullptr ? 0 : static_cast<std::uint32_t>(std::strtoul(version, nullptr, 0)));
    for (const Number& number : kNumbers) {
        Put(buffer, number.Offset, number.Value);
    }
    std::memcpy(buffer + kFlagsOffset, kFlags, sizeof kFlags);
    FillTexts(buffer);
    return 0;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int ioctl(int fd, unsigned long request,
                                                            ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (request == kDriverInfoRequest) {
        return Answer(static_cast<unsigned char*>(argument));
    }
    return static_cast<int>(syscall(SYS_ioctl, fd, request, argument));
}

#include "base/kernel_file.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>

#include "base/unique_fd.h"

int ReadKernelFile(const char* path, std::string& text, std::size_t limit) {
    constexpr std::size_t kStep = 4096;
    text.clear();
    const CUniqueFd fd(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd.IsValid()) {
        return errno;
    }
    std::size_t length = 0;
    while (length < limit) {
        const std::size_t wanted = std::min(kStep, limit - length);
        text.resize(length + wanted);
        const ssize_t got = read(fd.Get(), text.data() + length, wanted);
        const int error = errno;
        if (got < 0 && error == EINTR) {
            continue;
        }
        if (got < 0) {
            text.clear();
            return error;
        }
        length += static_cast<std::size_t>(got);
        if (got == 0) {
            break;
        }
    }
    text.resize(length);
    return 0;
}

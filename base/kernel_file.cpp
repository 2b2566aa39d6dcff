#include "base/kernel_file.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>

#include "base/file_io.h"
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
        const ReadResult got = ReadOnce(fd.Get(), text.data() + length, wanted);
        if (got.Error != 0) {
            text.clear();
            return got.Error;
        }
        length += got.Bytes;
        if (got.Bytes == 0) {
            break;
        }
    }
    text.resize(length);
    return 0;
}

#include "base/kernel_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "base/file_io.h"
#include "base/unique_fd.h"

namespace {

// How much more to read than `length`. What fills the first step may be a file of a disk, which
// tells its size; one byte more finds its end.
std::size_t NextStep(int fd, std::size_t length) {
    constexpr std::size_t kFirstStep = 4096;
    struct stat status {};
    if (length == kFirstStep && fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) {
        const auto size = static_cast<std::size_t>(status.st_size);
        return size > length ? size - length + 1 : kFirstStep;
    }
    return std::max(kFirstStep, length);
}

}  // namespace

int ReadKernelFile(const char* path, std::string& text, std::size_t limit) {
    text.clear();
    const CUniqueFd fd(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd.IsValid()) {
        return errno;
    }
    std::size_t length = 0;
    while (length < limit) {
        if (length == text.size()) {
            text.resize(length + std::min(NextStep(fd.Get(), length), limit - length));
        }
        const ReadResult got = ReadOnce(fd.Get(), text.data() + length, text.size() - length);
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

#include "os/registry_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "base/file_io.h"
#include "base/unique_fd.h"

namespace {

constexpr mode_t kTreeFileMode = 0644;
constexpr std::size_t kReadStep = std::size_t{64} * 1024;

// Flushes to the disk. A file system that cannot do it for this kind of file is no failure.
int Flush(int fd) {
    if (fsync(fd) == 0) {
        return 0;
    }
    const int error = errno;
    return error == EINVAL || error == ENOTSUP ? 0 : error;
}

// Reads from `length` on to the end of the file. Returns false when a read failed or the text grew
// past the limit.
bool ReadToEnd(int fd, std::string& text) {
    std::size_t length = 0;
    for (;;) {
        if (text.size() == length) {
            text.resize(length + kReadStep);
        }
        const ReadResult got = ReadOnce(fd, text.data() + length, text.size() - length);
        if (got.Error != 0 || length > kLargestTreeFile) {
            return false;
        }
        length += got.Bytes;
        if (got.Bytes == 0) {
            text.resize(length);
            return true;
        }
    }
}

}  // namespace

RegistryFileState ReadRegistryFile(const char* path, std::string& text) {
    const CUniqueFd fd(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!fd.IsValid()) {
        return RegistryFileState::NotOpened;
    }
    std::size_t expected = 0;
    struct stat status {};
    if (fstat(fd.Get(), &status) == 0) {
        if (status.st_size == 0) {
            return RegistryFileState::Empty;
        }
        expected = static_cast<std::size_t>(status.st_size);
    }
    if (expected > kLargestTreeFile) {
        return RegistryFileState::TooLarge;
    }
    text.resize(expected + 1);  // one more, so that the end is seen without another step
    return ReadToEnd(fd.Get(), text) ? RegistryFileState::Read : RegistryFileState::NotRead;
}

int WriteRegistryFile(int fd, std::string_view text) {
    if (const int error = WriteFully(fd, text); error != 0) {
        return error;
    }
    if (fchmod(fd, kTreeFileMode) != 0) {
        return errno;
    }
    return Flush(fd);
}

int SyncDirectory(const char* path) {
    const CUniqueFd fd(open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return fd.IsValid() ? Flush(fd.Get()) : errno;
}

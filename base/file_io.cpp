#include "base/file_io.h"

#include <unistd.h>

#include <cerrno>

namespace {

// Makes a call that returns a length or -1 again until no signal interrupts it.
template <typename Call>
ReadResult Uninterrupted(Call call) {
    for (;;) {
        const ssize_t length = call();
        const int error = errno;
        if (length >= 0) {
            return {static_cast<std::size_t>(length), 0};
        }
        if (error != EINTR) {
            return {0, error};
        }
    }
}

// `transfer(buffer, size, done)` reads once; repeated until the buffer is full.
template <typename Transfer>
ReadResult Repeat(void* buffer, std::size_t size, Transfer transfer) {
    std::size_t done = 0;
    while (done < size) {
        const ReadResult got = transfer(static_cast<char*>(buffer) + done, size - done, done);
        if (got.Error != 0 || got.Bytes == 0) {
            return {done, got.Error};
        }
        done += got.Bytes;
    }
    return {done, 0};
}

template <typename Transfer>
int RepeatWrite(std::string_view text, Transfer transfer) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ReadResult put = Uninterrupted([&] { return transfer(text.substr(done), done); });
        if (put.Error != 0 || put.Bytes == 0) {
            return put.Error != 0 ? put.Error : EIO;
        }
        done += put.Bytes;
    }
    return 0;
}

off_t Position(std::uint64_t offset, std::size_t done) {
    return static_cast<off_t>(offset + done);
}

}  // namespace

ReadResult ReadOnce(int fd, void* buffer, std::size_t size) {
    return Uninterrupted([&] { return read(fd, buffer, size); });
}

ReadResult ReadFully(int fd, void* buffer, std::size_t size) {
    return Repeat(buffer, size, [fd](char* at, std::size_t wanted, std::size_t /*done*/) {
        return ReadOnce(fd, at, wanted);
    });
}

ReadResult ReadFully(const ReadFunction& read, void* buffer, std::size_t size) {
    return Repeat(buffer, size, [&](char* at, std::size_t wanted, std::size_t /*done*/) {
        return read(at, wanted);
    });
}

ReadResult ReadFullyAt(int fd, void* buffer, std::size_t size, std::uint64_t offset) {
    return Repeat(buffer, size, [&](char* at, std::size_t wanted, std::size_t done) {
        return Uninterrupted([&] { return pread(fd, at, wanted, Position(offset, done)); });
    });
}

int WriteFully(int fd, std::string_view text) {
    return RepeatWrite(text, [fd](std::string_view rest, std::size_t /*done*/) {
        return write(fd, rest.data(), rest.size());
    });
}

int WriteFullyAt(int fd, std::string_view text, std::uint64_t offset) {
    return RepeatWrite(text, [&](std::string_view rest, std::size_t done) {
        return pwrite(fd, rest.data(), rest.size(), Position(offset, done));
    });
}

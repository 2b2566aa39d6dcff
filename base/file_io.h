// Reads and writes of descriptors that go on where a signal or a short transfer broke them off.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

struct ReadResult {
    std::size_t Bytes;
    int Error;  // 0, or the errno number of the read that failed
};

// Reads once as ReadOnce does, from wherever its maker likes.
using ReadFunction = std::function<ReadResult(void* buffer, std::size_t size)>;

// One read, made again as long as signals interrupt it. 0 bytes without an error: the end.
[[nodiscard]] ReadResult ReadOnce(int fd, void* buffer, std::size_t size);

// Reads until `size` bytes are there, the file ends or a read fails; Bytes counts what came before.
[[nodiscard]] ReadResult ReadFully(int fd, void* buffer, std::size_t size);
[[nodiscard]] ReadResult ReadFully(const ReadFunction& read, void* buffer, std::size_t size);
// The same from an offset of a file, whose own position stays.
[[nodiscard]] ReadResult ReadFullyAt(int fd, void* buffer, std::size_t size, std::uint64_t offset);

// Write all of `text`. Return 0 or the errno number of the write that failed (EIO for one that
// takes nothing); then a part may be written.
[[nodiscard]] int WriteFully(int fd, std::string_view text);
[[nodiscard]] int WriteFullyAt(int fd, std::string_view text, std::uint64_t offset);

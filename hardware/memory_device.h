// Maps ranges of the memory device, with the bounds checked that can be known beforehand.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/file_mapping.h"

// How far `address` stands behind the begin of its page, in bytes.
[[nodiscard]] std::uint64_t PageOffset(std::uint64_t address);

// Maps `length` bytes from `base`, the begin of a page, shared and readable, also writable when
// asked. Returns 0, or the errno number; `mapping` is then unchanged. A regular file that does not
// hold all of the bytes fails with ENXIO, because touching a page behind its end would end the
// process. Of a device nothing is known beforehand; a range that the kernel guards fails here.
[[nodiscard]] int MapDeviceRange(int fd, std::uint64_t base, std::size_t length, bool isWritable,
                                 CFileMapping& mapping);

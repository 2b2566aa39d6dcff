// A file written or read with bare system calls: what peers without a library do.
#pragma once

#include <string>
#include <string_view>

#include "base/unique_fd.h"

namespace bench {

class CBareFile {
public:
    enum Mode { kRewrite, kRead };
    // Throws std::runtime_error when it cannot be opened.
    explicit CBareFile(const std::string& path, Mode mode = kRewrite);

    // One write; the file begins anew when it has passed `sizeMax` bytes. Throws when it fails.
    void Write(std::string_view text, std::size_t sizeMax);
    // One pread of the file's first 4,096 bytes.
    void ReadFromStart() const;

private:
    CUniqueFd m_Fd;
    std::size_t m_Size = 0;
};

}  // namespace bench

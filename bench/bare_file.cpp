#include "bench/bare_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <stdexcept>

#include "bench/measure.h"

namespace bench {

CBareFile::CBareFile(const std::string& path, Mode mode)
    : m_Fd(open(path.c_str(),
                mode == kRead ? O_RDONLY | O_CLOEXEC : O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC,
                0600)) {
    if (!m_Fd.IsValid()) {
        throw std::runtime_error("cannot open " + path);
    }
}

void CBareFile::Write(std::string_view text, std::size_t sizeMax) {
    if (write(m_Fd.Get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw std::runtime_error("cannot write");
    }
    m_Size += text.size();
    if (m_Size > sizeMax) {
        (void)lseek(m_Fd.Get(), 0, SEEK_SET);
        m_Size = 0;
    }
}

void CBareFile::ReadFromStart() const {
    char buffer[4096];
    Keep(pread(m_Fd.Get(), buffer, sizeof buffer, 0));
    Keep(&buffer[0]);
}

}  // namespace bench

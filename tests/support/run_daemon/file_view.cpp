#include "tests/support/run_daemon/file_view.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

std::string_view CFileView::Look() {
    if (!m_File.IsValid()) {
        m_File.Reset(open(m_Path.c_str(), O_RDONLY | O_CLOEXEC));
    }
    struct stat status {};
    if (!m_File.IsValid() || fstat(m_File.Get(), &status) != 0) {
        return {};
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    if (size != m_Mapping.Size()) {
        m_Mapping = CFileMapping(mmap(nullptr, size, PROT_READ, MAP_SHARED, m_File.Get(), 0), size);
    }
    return {m_Mapping.Data(), m_Mapping.Size()};
}

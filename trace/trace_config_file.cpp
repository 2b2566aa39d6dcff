#include "trace/trace_config_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>

#include "base/file_io.h"
#include "base/unique_fd.h"
#include "trace/trace_config_text.h"

namespace {

// A larger file is no configuration; it is refused before memory is spent on it.
constexpr std::int64_t kLargestFile = std::int64_t{64} << 20U;

bool IsNewer(const timespec& time, const timespec& reference) {
    return time.tv_sec != reference.tv_sec ? time.tv_sec > reference.tv_sec
                                           : time.tv_nsec > reference.tv_nsec;
}

}  // namespace

bool CDebugTraceConfigFile::OpenSectionInIniFile(const char* section, const char* fileName,
                                                 const char* directory) {
    try {
        if (m_Path.empty()) {
            m_Path = std::string(directory) + "/" + fileName;
            struct stat status {};
            if (stat(m_Path.c_str(), &status) != 0) {
                Forget();
                return false;
            }
            Remember(status);
        }
        if (Load()) {
            if (const auto found = trace::FindSection(m_Text, section)) {
                m_Section = *found;
                return true;
            }
        }
    } catch (const std::bad_alloc&) {
        // No memory for the file: as if it were absent.
    }
    Forget();
    return false;
}

// Reads the whole file, as many bytes as it had when its size was taken.
bool CDebugTraceConfigFile::Load() {
    m_Section = {};
    if (m_Size > kLargestFile) {
        return false;
    }
    // Not blocking: a FIFO of that name must not hold up the start.
    const CUniqueFd fd(open(m_Path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    m_Text.assign(static_cast<std::size_t>(m_Size), '\0');
    return fd.IsValid() && ReadFully(fd.Get(), m_Text.data(), m_Text.size()).Bytes == m_Text.size();
}

bool CDebugTraceConfigFile::HasChanged() {
    if (m_Path.empty()) {
        return false;
    }
    struct stat status {};
    if (stat(m_Path.c_str(), &status) != 0) {
        Forget();
        return false;
    }
    if (!IsNewer(status.st_mtim, m_ModificationTime)) {
        return false;
    }
    Remember(status);
    return true;
}

std::optional<std::string_view> CDebugTraceConfigFile::Value(std::string_view key,
                                                             std::size_t limit) const {
    return trace::FindValue(m_Section, key, limit);
}

std::optional<std::uint32_t> CDebugTraceConfigFile::Number(std::string_view key) const {
    return trace::FindNumber(m_Section, key);
}

void CDebugTraceConfigFile::Remember(const struct stat& status) {
    m_Size = status.st_size;
    m_ModificationTime = status.st_mtim;
}

void CDebugTraceConfigFile::Forget() {
    m_Section = {};
    m_Text.clear();
    m_Text.shrink_to_fit();
    m_Path.clear();
    m_Size = 0;
    m_ModificationTime = {};
}

int CDirectoryList::SelectFilesInDir(const dirent* entry) {
    return static_cast<int>(std::strstr(entry->d_name, ".ini") != nullptr);
}

#include "os/profile_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <string>

#include "base/file_io.h"
#include "base/own_file.h"
#include "os/ini_scanner.h"

namespace ini {

namespace {

constexpr off_t kLargestFile = std::numeric_limits<std::int32_t>::max();
constexpr mode_t kFileMode = 0644;

off_t Offset(std::uint64_t position) {
    return static_cast<off_t>(position);
}

// The size of the file; -1 when it cannot be measured or edited.
off_t MeasureFile(int file) {
    struct stat status {};
    return fstat(file, &status) == 0 && status.st_size <= kLargestFile ? status.st_size : -1;
}

// Reads exactly `text.size()` bytes from that offset.
bool ReadAt(int file, std::string& text, std::uint64_t position) {
    return ReadFullyAt(file, text.data(), text.size(), position).Bytes == text.size();
}

bool Truncate(int file, std::uint64_t size) {
    return ftruncate(file, Offset(size)) == 0;
}

// Where two texts of the same length stop to differ; texts of other lengths differ to their ends.
std::size_t DifferingLength(std::string_view text, std::string_view old) {
    if (text.size() != old.size()) {
        return text.size();
    }
    const auto same = std::mismatch(text.rbegin(), text.rend(), old.rbegin()).first;
    return static_cast<std::size_t>(text.rend() - same);
}

// Replaces the file's bytes from `position` to the end, `old`, by `text`.
//
// The bytes behind the old end are written first: only they need room on the disk, so a full one
// is found out while nothing is lost yet. What is there already is overwritten then, and the file
// is cut last. A step that fails is undone.
bool ReplaceEnd(int file, std::uint64_t position, std::string_view old, std::string_view text) {
    const std::size_t common = std::min(old.size(), text.size());
    if (WriteFullyAt(file, text.substr(common), position + common) != 0) {
        (void)Truncate(file, position + old.size());
        return false;
    }
    const std::string_view overwriting =
        text.substr(0, std::min(common, DifferingLength(text, old)));
    if (WriteFullyAt(file, overwriting, position) == 0 && Truncate(file, position + text.size())) {
        return true;
    }
    (void)WriteFullyAt(file, old, position);
    (void)Truncate(file, position + old.size());
    return false;
}

}  // namespace

int OpenRegularFile(const char* path, int flags, CUniqueFd& file) {
    if ((flags & O_ACCMODE) != O_RDONLY) {
        return ::OpenRegularFile(path, flags, kFileMode, file);
    }
    file.Reset(open(path, flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file.IsValid()) {
        return errno;
    }
    struct stat status {};
    if (fstat(file.Get(), &status) != 0) {
        return errno;
    }
    if (S_ISDIR(status.st_mode)) {
        return EISDIR;
    }
    return S_ISREG(status.st_mode) ? 0 : EINVAL;
}

std::string_view CLineReader::Next() {
    std::string_view line = FirstLine(m_Rest);
    while (!m_IsAtEnd && line.size() < kLineMax && !line.ends_with('\n')) {
        Refill();
        line = FirstLine(m_Rest);
    }
    m_Rest.remove_prefix(line.size());
    return line;
}

// Moves the beginning of a line to the front of the buffer and reads on behind it.
void CLineReader::Refill() {
    char* const buffer = static_cast<char*>(m_Buffer);
    if (!m_Rest.empty()) {
        std::memmove(buffer, m_Rest.data(), m_Rest.size());
    }
    m_Rest = {buffer, m_Rest.size()};
    const ReadResult got =
        ReadOnce(m_File, buffer + m_Rest.size(), sizeof m_Buffer - m_Rest.size());
    m_IsAtEnd = got.Bytes == 0;
    m_HasFailed = got.Error != 0;
    m_Rest = {buffer, m_Rest.size() + got.Bytes};
}

bool IsEditable(int file) {
    return MeasureFile(file) >= 0;
}

bool WriteLines(int file, std::uint64_t writeAt, std::uint64_t tailFrom, const Change& change,
                bool blankFirst) {
    const off_t size = MeasureFile(file);
    if (size < 0 || writeAt > tailFrom || Offset(tailFrom) > size) {
        return false;
    }
    std::string old(static_cast<std::size_t>(size) - writeAt, '\0');
    if (!ReadAt(file, old, writeAt)) {
        return false;
    }
    std::string text(blankFirst ? "\n" : "");
    text.append(SettingText(change)).append(old, tailFrom - writeAt);
    return ReplaceEnd(file, writeAt, old, text);
}

int AppendSection(const char* path, const Change& change, bool isNew) {
    CUniqueFd file;
    int error = OpenRegularFile(path, O_WRONLY | O_APPEND | O_CREAT, file);
    if (error != 0) {
        return error;
    }
    if (isNew) {
        (void)fchmod(file.Get(), kFileMode);  // a file system without permissions refuses
    }
    const off_t size = MeasureFile(file.Get());
    if (size < 0) {
        return EFBIG;
    }
    error = WriteFullyAt(file.Get(), NewSectionText(change), static_cast<std::uint64_t>(size));
    if (error != 0) {
        (void)Truncate(file.Get(), static_cast<std::uint64_t>(size));
    }
    return error;
}

}  // namespace ini

#include "tools/capture/capture.h"

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <memory>

#include "base/error_text.h"
#include "tools/capture/anonymous.h"
#include "tools/capture/captured_tree.h"
#include "tools/command.h"

namespace tools {

namespace {

constexpr char kPartial[] = ".partial";
constexpr mode_t kFileMode = 0644;  // of what is inside: to be read by whoever unpacks it
constexpr mode_t kFolderMode = 0755;
constexpr mode_t kArchiveMode = 0600;  // it may hold serial numbers

using CArchive = std::unique_ptr<archive, int (*)(archive*)>;
using CEntry = std::unique_ptr<archive_entry, void (*)(archive_entry*)>;

bool WriteItem(archive* out, const std::string& path, const CapturedItem& item) {
    using EKind = CapturedItem::EKind;
    const CEntry entry(archive_entry_new(), archive_entry_free);
    archive_entry_set_pathname(entry.get(), path.c_str() + 1);
    archive_entry_set_mtime(entry.get(), std::time(nullptr), 0);
    archive_entry_set_perm(entry.get(), item.Kind == EKind::kFolder ? kFolderMode : kFileMode);
    switch (item.Kind) {
    case EKind::kFolder: archive_entry_set_filetype(entry.get(), AE_IFDIR); break;
    case EKind::kLink:
        archive_entry_set_filetype(entry.get(), AE_IFLNK);
        archive_entry_set_symlink(entry.get(), item.Text.c_str());
        break;
    case EKind::kFile:
        archive_entry_set_filetype(entry.get(), AE_IFREG);
        archive_entry_set_size(entry.get(), static_cast<la_int64_t>(item.Text.size()));
        break;
    }
    if (archive_write_header(out, entry.get()) != ARCHIVE_OK) {
        return false;
    }
    const bool hasData = item.Kind == EKind::kFile && !item.Text.empty();
    return !hasData || archive_write_data(out, item.Text.data(), item.Text.size()) ==
                           static_cast<la_ssize_t>(item.Text.size());
}

// Empty, or what went wrong.
std::string WriteTree(int fd, const CCapturedTree& tree) {
    const CArchive out(archive_write_new(), archive_write_free);
    const auto error = [&out] {
        const char* const text = archive_error_string(out.get());
        return std::string(text != nullptr ? text : "no reason given");
    };
    if (archive_write_set_format_pax_restricted(out.get()) != ARCHIVE_OK ||
        archive_write_add_filter_gzip(out.get()) != ARCHIVE_OK ||
        archive_write_open_fd(out.get(), fd) != ARCHIVE_OK) {
        return error();
    }
    for (const auto& [path, item] : tree.Items) {
        if (!WriteItem(out.get(), path, item)) {
            return error();
        }
    }
    return archive_write_close(out.get()) == ARCHIVE_OK ? std::string() : error();
}

}  // namespace

CCaptureFile::~CCaptureFile() {
    if (m_File.IsValid()) {
        (void)unlinkat(m_Folder.Get(), (m_Name + kPartial).c_str(), 0);
    }
}

int CCaptureFile::FailWith(int error) const {
    return Fail(kFailure, "cannot write " + m_Path + ": " + CErrorText(error).Get());
}

int CCaptureFile::Open(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    m_Path = path;
    m_Name = path.substr(slash == std::string::npos ? 0 : slash + 1);
    if (m_Name.empty()) {
        return FailWith(EISDIR);
    }
    m_Folder.Reset(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!m_Folder.IsValid()) {
        return FailWith(errno);
    }
    // Always a file of our own: in a folder that others may write to, what has that name already
    // may be a link, a pipe or a file that they go on reading.
    const std::string partial = m_Name + kPartial;
    (void)unlinkat(m_Folder.Get(), partial.c_str(), 0);
    m_File.Reset(openat(m_Folder.Get(), partial.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                        kArchiveMode));
    return m_File.IsValid() ? static_cast<int>(kSuccess) : FailWith(errno);
}

int CCaptureFile::Finish() {
    if (fsync(m_File.Get()) != 0 || renameat(m_Folder.Get(), (m_Name + kPartial).c_str(),
                                             m_Folder.Get(), m_Name.c_str()) != 0) {
        return FailWith(errno);
    }
    m_File.Reset();
    return kSuccess;
}

int WriteCapture(CCaptureFile& file, const inventory::Snapshot& snapshot, bool isAnonymous) {
    CCapturedTree tree = CaptureSystem(snapshot);
    if (isAnonymous) {
        tree = MakeAnonymous(tree);
    }
    for (const inventory::Gap& gap : tree.Gaps) {
        Warn("not captured: " + gap.What + ": " + gap.Why);
    }
    const std::string problem = WriteTree(file.Descriptor(), tree);
    if (!problem.empty()) {
        return Fail(kFailure, "cannot write the capture: " + problem);
    }
    return file.Finish();
}

}  // namespace tools

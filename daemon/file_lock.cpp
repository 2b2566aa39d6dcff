#include "daemon/file_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <utility>

#include "base/bounded_text.h"
#include "base/cancellation.h"
#include "base/own_file.h"
#include "base/unique_fd.h"
#include "daemon/guarded_trace.h"

namespace {

constexpr mode_t kDirectoryMode = 0711;
constexpr mode_t kLockFileMode = 0644;  // filtered by the umask in force
constexpr std::int32_t kRetryMs = 100;
// Of instances that end while this one starts there are few; somebody who keeps moving the file
// away must not hold up the start for ever.
constexpr int kAttempts = 100;
constexpr std::size_t kOwnerInfoLimit = 255;  // bytes

// Deliberate: a busy lock is told by this number, not by the system's EWOULDBLOCK, so that in
// practice only one attempt is made, whatever the time-out.
constexpr int kSharingViolation = 32;

bool Exists(const char* path) {
    struct stat status {};
    return stat(path, &status) == 0;
}

// Whether the path still leads to the open file. An instance that ended meanwhile has removed it,
// and another may have made its own.
bool IsNamed(int fd, const char* path) {
    struct stat open {};
    struct stat named {};
    if (fstat(fd, &open) != 0) {
        return true;  // nothing speaks against it
    }
    if (stat(path, &named) != 0) {
        return errno != ENOENT;
    }
    return open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

std::string OwnerText(const char* ownerName) {
    return std::string(ownerName != nullptr ? ownerName : "") + "#" + std::to_string(getpid());
}

}  // namespace

std::string_view LockDirectory(std::string_view lockFileName) {
    if (lockFileName.size() < 2) {
        return lockFileName;
    }
    const std::size_t slash = lockFileName.rfind('/', lockFileName.size() - 2);
    const bool hasDirectory = slash != std::string_view::npos && slash != 0;
    return hasDirectory ? lockFileName.substr(0, slash) : lockFileName;
}

bool CFileLock::Lock(const char* path, const char* ownerName, std::int32_t timeoutMs) {
    if (path == nullptr || *path == '\0') {
        m_lastError = EINVAL;
        return false;
    }
    TraceIfActive(5, "\nCFileLock           :   apply file lock using file %s...", path);
    try {
        // The whole name is used here; m_lockFileName, which the release uses, may hold less of it.
        return LockFile(std::string(path) + ".lock", OwnerText(ownerName), timeoutMs);
    } catch (const std::bad_alloc&) {
        m_lastError = ENOMEM;  // met before the lock is taken
        return false;
    }
}

bool CFileLock::LockFile(const std::string& lockFileName, const std::string& ownerText,
                         std::int32_t timeoutMs) {
    CopyText(m_lockFileName, lockFileName);
    TraceIfActive(3, "\nCFileLock::Lock     : LockFileName.c_str() = %s\n", lockFileName.c_str());
    const std::string directory(LockDirectory(lockFileName));
    TraceIfActive(3, "\nCFileLock::Lock     : LockFileDir.c_str() = %s\n", directory.c_str());
    if (!MakeDirectory(directory)) {
        TraceIfActive(1,
                      "\nCFileLock           : ## ERROR! Failed to open/create lock directory %s "
                      "(LastError = 0x%08X)",
                      directory.c_str(), m_lastError);
        return false;
    }
    Release();
    const std::int32_t retries = timeoutMs / kRetryMs;
    TraceIfActive(3, "\nCFileLock::Lock     : nrRetries = %d\n", retries);
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        if (!IsLockable(lockFileName.c_str(), retries)) {
            ReadOwnerInfo(lockFileName.c_str());
            return false;
        }
        if (!Create(lockFileName.c_str())) {
            return false;
        }
        if (IsNamed(m_fd, lockFileName.c_str())) {
            WriteOwnerText(ownerText);
            return true;
        }
        Release();  // what was locked is no longer the lock file
    }
    return false;
}

// Makes every directory on the way that is missing. Only as much of the name as fits into a lock
// file's name is made.
bool CFileLock::MakeDirectory(std::string_view directory) {
    if (directory.empty() || directory.front() != '/') {
        return false;
    }
    char prefix[kLockFileNameSize];
    CopyText(prefix, directory);
    const std::size_t length = FieldText(prefix).size();
    for (std::size_t i = 1; i <= length; ++i) {
        if (prefix[i] != '/' && prefix[i] != '\0') {
            continue;
        }
        const char following = std::exchange(prefix[i], '\0');
        if (mkdir(prefix, kDirectoryMode) != 0 && errno != EEXIST) {
            return false;
        }
        prefix[i] = following;
    }
    return true;
}

// Whether the file is missing, or was left behind by a process that is dead.
bool CFileLock::IsLockable(const char* lockFileName, std::int32_t retries) {
    bool isLockable = true;
    if (!Exists(lockFileName)) {
        TraceIfActive(3, "\nCFileLock::Lock     : lockfile %s does NOT exist!\n", lockFileName);
    } else {
        TraceIfActive(3, "\nCFileLock::Lock     : lockfile %s EXISTS!\n", lockFileName);
        CUniqueFd fd;
        const int error = OpenOwnFile(lockFileName, O_RDONLY, 0, fd);
        if (error == 0) {
            TraceIfActive(3, "\nCFileLock::Lock     : Successfully opened lockfile %s\n",
                          lockFileName);
            isLockable = TryLock(fd.Get(), lockFileName, retries);
        } else {
            m_lastError = static_cast<std::uint32_t>(error);
            TraceIfActive(3, "\nCFileLock::Lock     : Could NOT open lockfile %s\n", lockFileName);
            isLockable = false;
        }
    }
    TraceIfActive(3, "\nCFileLock::Lock     : fileIsLockable = %s\n",
                  isLockable ? "true" : "false");
    return isLockable;
}

// Takes the lock of an existing file and lets it go again.
bool CFileLock::TryLock(int fd, const char* lockFileName, std::int32_t retries) {
    TraceIfActive(3, "\nCFileLock::Lock     : Trying to lock lockfile %s\n", lockFileName);
    while (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        const int error = errno;
        if (error != kSharingViolation) {
            m_lastError = static_cast<std::uint32_t>(error);
            TraceIfActive(3, "\nCFileLock::Lock     : Could NOT lock lockfile %s\n", lockFileName);
            return false;
        }
        TraceIfActive(3,
                      "\nCFileLock::Lock     : Error Sharing Violation while trying to lock "
                      "lockfile %s\n",
                      lockFileName);
        --retries;
        usleep(kRetryMs * 1000);
        if (retries <= 0) {
            return false;
        }
    }
    TraceIfActive(3, "\nCFileLock::Lock     : Successfully locked lockfile %s\n", lockFileName);
    Flock(fd, LOCK_UN);
    return true;
}

void CFileLock::ReadOwnerInfo(const char* lockFileName) {
    CUniqueFd fd;
    if (OpenOwnFile(lockFileName, O_RDONLY, 0, fd) != 0) {
        return;
    }
    char text[kOwnerInfoLimit];
    const ssize_t length = read(fd.Get(), text, sizeof text);
    m_ownerInfo.assign(text, length > 0 ? static_cast<std::size_t>(length) : 0);
}

// Makes the file, or takes the one that was found to be lockable. An instance that was started at
// the same time may have been faster since then: it has the lock, and its file stays as it is. Any
// other failure to lock is only noted.
bool CFileLock::Create(const char* lockFileName) {
    CUniqueFd file;
    const int error = OpenOwnFile(lockFileName, O_RDWR | O_CREAT, kLockFileMode, file);
    if (error != 0) {
        m_lastError = static_cast<std::uint32_t>(error);
        return false;
    }
    const bool isLocked =
        Flock(file.Get(), LOCK_EX | LOCK_NB) || Flock(file.Get(), LOCK_EX | LOCK_NB);
    if (!isLocked && m_lastError == EWOULDBLOCK) {
        TraceIfActive(3, "\nCFileLock::Lock     : Could NOT lock lockfile %s\n", lockFileName);
        ReadOwnerInfo(lockFileName);
        return false;
    }
    m_isLocked = true;
    m_fd = file.Release();
    m_isOpen = true;
    return true;
}

// A text that cannot be written does not cost the lock: the lock is what keeps others out.
void CFileLock::WriteOwnerText(const std::string& text) {
    (void)!ftruncate(m_fd, 0);
    errno = 0;
    const ssize_t written = write(m_fd, text.data(), text.size());
    m_lastError = written < 0 ? static_cast<std::uint32_t>(errno) : 0;
    fsync(m_fd);
}

bool CFileLock::Flock(int fd, int operation) {
    const bool isDone = flock(fd, operation) == 0;
    if (!isDone) {
        m_lastError = static_cast<std::uint32_t>(errno);
    }
    return isDone;
}

// Unlocks and closes; the file stays.
void CFileLock::Release() {
    if (m_fd < 0) {
        return;
    }
    TraceIfActive(5, "\nCFileLock           :   release file lock using file %s", m_lockFileName);
    if (m_isLocked) {
        fsync(m_fd);
        Flock(m_fd, LOCK_UN);
    }
    close(m_fd);
    m_fd = -1;
    m_isOpen = false;
    m_isLocked = false;
}

CFileLock::~CFileLock() {
    const CCancellationHold hold;
    if (m_fd >= 0) {
        // Under the lock: whoever locks the file behind this finds that the path names it no more.
        unlink(m_lockFileName);
        Release();
    }
    m_isDestroyed = true;
}

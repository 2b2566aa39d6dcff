// The lock file that keeps a second instance of a program from starting.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// Holds an advisory flock lock on "PATH.lock", which names the owner ("zentd#4711"). The lock
// belongs to the open file description: a forked child that keeps the descriptor keeps the lock
// when its parent exits without running the destructor. Used from one thread.
//
// Looking at an existing file and creating one's own are separate steps. Of instances that start in
// the same instant one gets the lock: the others find the file locked, at either step. Nobody
// waits.
class CFileLock {
public:
    CFileLock() = default;
    CFileLock(const CFileLock&) = delete;
    CFileLock& operator=(const CFileLock&) = delete;
    CFileLock(CFileLock&&) = delete;
    CFileLock& operator=(CFileLock&&) = delete;
    // Releases the lock and removes the file, if this object holds it.
    ~CFileLock();

    // Takes the lock; missing directories on the way are made (mode 0711). False when another
    // process holds it (OwnerInfo() then says which) or the file cannot be made (LastError()).
    // `timeoutMs` gives one attempt for every 100 ms, see IsLockable.
    [[nodiscard]] bool Lock(const char* path, const char* ownerName, std::int32_t timeoutMs);

    // What the refusing lock file held; at most 255 bytes.
    [[nodiscard]] const std::string& OwnerInfo() const { return m_ownerInfo; }
    // The errno number of the last failure. Directories that cannot be made leave it as it was.
    [[nodiscard]] std::uint32_t LastError() const { return m_lastError; }

private:
    static constexpr std::size_t kLockFileNameSize = 260;  // with the terminator

    bool LockFile(const std::string& lockFileName, const std::string& ownerText,
                  std::int32_t timeoutMs);
    bool MakeDirectory(std::string_view directory);
    bool IsLockable(const char* lockFileName, std::int32_t retries);
    bool TryLock(int fd, const char* lockFileName, std::int32_t retries);
    void ReadOwnerInfo(const char* lockFileName);
    bool Create(const char* lockFileName);
    void WriteOwnerText(const std::string& text);
    bool Flock(int fd, int operation);
    void Release();

    std::int32_t m_fd = -1;
    bool m_isOpen = false;
    bool m_isLocked = false;
    bool m_isDestroyed = false;
    char m_lockFileName[kLockFileNameSize]{};
    std::uint32_t m_lastError = 0;
    std::string m_ownerInfo;
};

// The directory part of a lock file's name: up to its last "/". A "/" in first or last position
// does not count; a name without any other is its own directory.
[[nodiscard]] std::string_view LockDirectory(std::string_view lockFileName);

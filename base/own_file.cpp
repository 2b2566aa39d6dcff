#include "base/own_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

namespace {

constexpr int kLongestChain = 8;  // links that lead to links, and others that are faster

bool IsTrusted(uid_t owner) {
    return owner == 0 || owner == geteuid();
}

// Replaces `path` by what the link there says. A link with a second name may be one of root's that
// somebody gave a name here.
int FollowLink(char (&path)[PATH_MAX]) {
    const CUniqueFd link(open(path, O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (!link.IsValid() || fstat(link.Get(), &status) != 0) {
        return errno;
    }
    if (!S_ISLNK(status.st_mode) || !IsTrusted(status.st_uid) || status.st_nlink > 1) {
        return EACCES;
    }
    char target[PATH_MAX];
    const ssize_t length = readlinkat(link.Get(), "", target, sizeof target);
    if (length < 0) {
        return errno;
    }
    // A relative one begins where the link is.
    const char* const slash = std::strrchr(path, '/');
    const std::size_t kept =
        target[0] == '/' || slash == nullptr ? 0 : static_cast<std::size_t>(slash + 1 - path);
    if (kept + static_cast<std::size_t>(length) >= sizeof path) {
        return ENAMETOOLONG;
    }
    std::memcpy(path + kept, target, static_cast<std::size_t>(length));
    path[kept + static_cast<std::size_t>(length)] = '\0';
    return 0;
}

// What is there, or a new file, which is then this process's own. EEXIST when somebody was faster.
int OpenPlace(const char* place, int flags, mode_t mode, CUniqueFd& file, bool& isNew) {
    constexpr int kHarmless = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    file.Reset(open(place, (flags & ~(O_CREAT | O_TRUNC)) | kHarmless));
    int error = file.IsValid() ? 0 : errno;
    if (error == ENOENT && (flags & O_CREAT) != 0) {
        file.Reset(open(place, flags | O_EXCL | kHarmless, mode));
        error = file.IsValid() ? 0 : errno;
        isNew = error == 0;
    }
    return error;
}

int OpenThroughLinks(const char* path, int flags, mode_t mode, CUniqueFd& file, bool& isNew) {
    char place[PATH_MAX];
    const std::size_t length = std::strlen(path);
    if (length >= sizeof place) {
        return ENAMETOOLONG;
    }
    std::memcpy(place, path, length + 1);
    int error = ELOOP;
    for (int tries = 0; (error == ELOOP || error == EEXIST) && tries <= kLongestChain; ++tries) {
        error = OpenPlace(place, flags, mode, file, isNew);
        if (error == ELOOP) {
            const int refusal = FollowLink(place);
            error = refusal != 0 ? refusal : ELOOP;
        }
    }
    return error;
}

// `status` is that of an empty file when the file is new.
int OpenAndLook(const char* path, int flags, mode_t mode, CUniqueFd& file, struct stat& status) {
    bool isNew = false;
    const int error = OpenThroughLinks(path, flags, mode, file, isNew);
    if (error != 0) {
        return error;
    }
    if (isNew) {
        status.st_mode = S_IFREG;
        status.st_uid = geteuid();
    } else if (fstat(file.Get(), &status) != 0) {
        return errno;
    }
    return S_ISDIR(status.st_mode) ? EISDIR : 0;
}

// Makes what was opened and is to be trusted as open(2) would have left it.
int Prepare(int file, int flags, const struct stat& status) {
    if (!S_ISREG(status.st_mode)) {
        return fcntl(file, F_SETFL, flags & ~O_NONBLOCK) == 0 ? 0 : errno;
    }
    const bool isCut = (flags & O_TRUNC) != 0 && status.st_size > 0;
    return !isCut || ftruncate(file, 0) == 0 ? 0 : errno;
}

}  // namespace

int OpenRegularFile(const char* path, int flags, mode_t mode, CUniqueFd& file) {
    struct stat status {};
    int error = OpenAndLook(path, flags, mode, file, status);
    if (error == 0 && !S_ISREG(status.st_mode)) {
        error = EINVAL;
    }
    if (error != 0) {
        file.Reset();
    }
    return error;
}

int OpenOwnFile(const char* path, int flags, mode_t mode, CUniqueFd& file) {
    struct stat status {};
    int error = OpenAndLook(path, flags, mode, file, status);
    // A device is of root's making, whoever may use it.
    const bool isDevice = S_ISCHR(status.st_mode) || S_ISBLK(status.st_mode);
    if (error == 0 && !isDevice && !IsTrusted(status.st_uid)) {
        error = EACCES;
    }
    if (error == 0 && status.st_nlink > 1) {
        error = EMLINK;
    }
    if (error == 0) {
        error = Prepare(file.Get(), flags, status);
    }
    if (error != 0) {
        file.Reset();
    }
    return error;
}

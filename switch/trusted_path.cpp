#include "switch/trusted_path.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <utility>

#include "base/error_text.h"
#include "base/unique_fd.h"

namespace {

struct MallocDeleter {
    void operator()(char* text) const { std::free(text); }
};

constexpr mode_t kWritableByOthers = S_IWGRP | S_IWOTH;

const char* Problem(const struct stat& status) {
    if (status.st_uid != 0) {
        return "does not belong to root";
    }
    return (status.st_mode & kWritableByOthers) != 0 ? "can be written by group or others"
                                                     : nullptr;
}

// Steps into `name` below the directory `at`, which the step replaces.
int Step(CUniqueFd& at, const char* name, struct stat& status) {
    CUniqueFd next(
        openat(at.IsValid() ? at.Get() : AT_FDCWD, name, O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (!next.IsValid()) {
        return errno;
    }
    at = std::move(next);
    return fstat(at.Get(), &status) == 0 ? 0 : errno;
}

bool IsOfKind(const struct stat& status, PathKind kind) {
    return kind == PathKind::kRegularFile ? S_ISREG(status.st_mode) : S_ISDIR(status.st_mode);
}

}  // namespace

int ResolveTrustedPath(const std::string& path, PathKind kind, std::string& resolved,
                       std::string& problem) {
    const std::unique_ptr<char, MallocDeleter> real(realpath(path.c_str(), nullptr));
    if (real == nullptr) {
        const int error = errno;
        problem = path + ": " + CErrorText(error).Get();
        return error;
    }
    resolved = real.get();
    CUniqueFd at;
    struct stat status {};
    std::size_t begin = 0;  // of the name to step into; the first is the root directory
    while (begin < resolved.size()) {
        const std::size_t end = std::min(resolved.find('/', begin), resolved.size());
        const std::string name = begin == 0 ? "/" : resolved.substr(begin, end - begin);
        const int error = Step(at, name.c_str(), status);
        const CErrorText text(error);
        const char* const why = error != 0 ? text.Get() : Problem(status);
        if (why != nullptr) {
            problem = (begin == 0 ? name : resolved.substr(0, end)) + ": " + why;
            return error != 0 ? error : EPERM;
        }
        begin = end + 1;
    }
    if (!IsOfKind(status, kind)) {
        problem = resolved + (kind == PathKind::kRegularFile ? ": is not a regular file"
                                                             : ": is not a directory");
        return EINVAL;
    }
    return 0;
}

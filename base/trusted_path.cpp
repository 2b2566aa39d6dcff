#include "base/trusted_path.h"

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

// Whether others can replace what the path leads to from here: not root's file in a sticky folder
// on the way, such as /tmp.
bool IsWritableByOthers(const struct stat& status, bool isOnTheWay) {
    const bool isHeld = isOnTheWay && S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0;
    return !isHeld && (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
}

const char* Problem(const struct stat& status, bool isOnTheWay) {
    if (status.st_uid != 0) {
        return "does not belong to root";
    }
    return IsWritableByOthers(status, isOnTheWay) ? "can be written by group or others" : nullptr;
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

// Calls `look` with each place on a path that is free of links, from the root directory on, until
// it returns an errno number, which is then the result. An error is 0 unless the place could not be
// looked at.
template <typename Look>
int Walk(const std::string& path, Look look) {
    CUniqueFd at;
    std::size_t begin = 0;  // of the name to step into; the first is the root directory
    while (begin < path.size()) {
        struct stat status {};
        const std::size_t end = std::min(path.find('/', begin), path.size());
        const std::string name = begin == 0 ? "/" : path.substr(begin, end - begin);
        const int error = Step(at, name.c_str(), status);
        const int result = look(begin == 0 ? name : path.substr(0, end), error, status);
        if (result != 0) {
            return result;
        }
        begin = end + 1;
    }
    return 0;
}

// `path` without links, or nothing with the errno number in `error`.
std::string RealPath(const std::string& path, int& error) {
    const std::unique_ptr<char, MallocDeleter> real(realpath(path.c_str(), nullptr));
    error = real != nullptr ? 0 : errno;
    return real != nullptr ? real.get() : "";
}

bool IsOfKind(const struct stat& status, PathKind kind) {
    return kind == PathKind::kRegularFile ? S_ISREG(status.st_mode) : S_ISDIR(status.st_mode);
}

}  // namespace

int ResolveTrustedPath(const std::string& path, PathKind kind, std::string& resolved,
                       std::string& problem) {
    int error = 0;
    resolved = RealPath(path, error);
    if (error != 0) {
        problem = path + ": " + CErrorText(error).Get();
        return error;
    }
    struct stat last {};
    const auto look = [&](const std::string& place, int stepError, const struct stat& status) {
        const CErrorText text(stepError);
        const bool isOnTheWay = place.size() < resolved.size();
        const char* const why = stepError != 0 ? text.Get() : Problem(status, isOnTheWay);
        last = status;
        if (why == nullptr) {
            return 0;
        }
        problem = place + ": " + why;
        return stepError != 0 ? stepError : EPERM;
    };
    error = Walk(resolved, look);
    if (error != 0) {
        return error;
    }
    if (!IsOfKind(last, kind)) {
        problem = resolved + (kind == PathKind::kRegularFile ? ": is not a regular file"
                                                             : ": is not a directory");
        return EINVAL;
    }
    return 0;
}

int FindPathProblems(const std::string& path, PathProblems& problems) {
    int error = 0;
    const std::string resolved = RealPath(path, error);
    const auto look = [&](const std::string& place, int stepError, const struct stat& status) {
        if (stepError == 0 && status.st_uid != 0) {
            problems.OtherOwner.push_back(place);
        }
        if (stepError == 0 && IsWritableByOthers(status, place.size() < resolved.size())) {
            problems.WritableByOthers.push_back(place);
        }
        return stepError;
    };
    return error != 0 ? error : Walk(resolved, look);
}

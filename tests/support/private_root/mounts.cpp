#include "tests/support/private_root/mounts.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "base/unique_fd.h"
#include "tests/support/private_root/refusal.h"

namespace {

void Demand(int result, const std::string& step) {
    if (result != 0) {
        const int error = errno;
        Refuse(step, error);
    }
}

}  // namespace

void MakeDirectory(const std::string& path, unsigned mode) {
    if (mkdir(path.c_str(), 0755) != 0 && errno != EEXIST) {
        const int error = errno;
        Refuse("mkdir " + path, error);
    }
    if (mode != 0755) {
        Demand(chmod(path.c_str(), mode), "chmod " + path);
    }
}

void MakeDirectories(const std::string& path) {
    for (std::size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        MakeDirectory(path.substr(0, slash));
    }
    MakeDirectory(path);
}

void MakeEmptyFile(const std::string& path) {
    const CUniqueFd fd(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    Demand(fd.IsValid() ? 0 : -1, "create " + path);
}

void MakeLink(const std::string& target, const std::string& path) {
    if (symlink(target.c_str(), path.c_str()) != 0 && errno != EEXIST) {
        const int error = errno;
        Refuse("link " + path, error);
    }
}

void MountTmpfs(const std::string& path, const std::string& data) {
    Demand(mount("tmpfs", path.c_str(), "tmpfs", MS_NOSUID, data.c_str()), "mount tmpfs " + path);
}

void Bind(const std::string& source, const std::string& target) {
    // Recursively: a user namespace may not uncover what is hidden under a mount.
    Demand(mount(source.c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr),
           "bind " + target);
}

void MakeReadOnly(const std::string& path) {
    mount_attr attributes{};
    attributes.attr_set = MOUNT_ATTR_RDONLY;
    Demand(mount_setattr(AT_FDCWD, path.c_str(), AT_RECURSIVE, &attributes, sizeof attributes),
           "make read-only " + path);
}

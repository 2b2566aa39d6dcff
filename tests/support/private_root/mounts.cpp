#include "tests/support/private_root/mounts.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "base/unique_fd.h"
#include "tests/support/private_root/refusal.h"

void MakeDirectory(const std::string& path, unsigned mode) {
    Demand(mkdir(path.c_str(), 0755) == 0 || errno == EEXIST, path);
    Demand(mode == 0755 || chmod(path.c_str(), mode) == 0, path);
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
    Demand(fd.IsValid(), path);
}

void MakeLink(const std::string& target, const std::string& path) {
    Demand(symlink(target.c_str(), path.c_str()) == 0 || errno == EEXIST, path);
}

void MountTmpfs(const std::string& path, const std::string& data) {
    Demand(mount("tmpfs", path.c_str(), "tmpfs", MS_NOSUID, data.c_str()) == 0, path);
}

void Bind(const std::string& source, const std::string& target) {
    // Recursively: a user namespace may not uncover what is hidden under a mount.
    Demand(mount(source.c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0, target);
}

void MakeReadOnly(const std::string& path) {
    mount_attr attributes{};
    attributes.attr_set = MOUNT_ATTR_RDONLY;
    Demand(mount_setattr(AT_FDCWD, path.c_str(), AT_RECURSIVE, &attributes, sizeof attributes) == 0,
           path);
}

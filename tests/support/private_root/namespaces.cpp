#include "tests/support/private_root/namespaces.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <string_view>

#include "base/unique_fd.h"
#include "tests/support/private_root/refusal.h"

namespace {

constexpr int kNamespaces = CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWIPC;

void WriteMap(const char* path, std::string_view text) {
    const CUniqueFd fd(open(path, O_WRONLY | O_CLOEXEC));
    if (!fd.IsValid() || write(fd.Get(), text.data(), text.size()) < 0) {
        const int error = errno;
        Refuse(path, error);
    }
}

void MapCallerToRoot(uid_t user, gid_t group) {
    WriteMap("/proc/self/setgroups", "deny");  // the kernel's condition for a group map
    WriteMap("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
    WriteMap("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
}

}  // namespace

void EnterNamespaces() {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (user == 0 && unshare(kNamespaces) == 0) {
        return;
    }
    // Also for a root whose capabilities were taken away, as in most containers.
    if (unshare(kNamespaces | CLONE_NEWUSER) != 0) {
        const int error = errno;
        Refuse("unshare", error == EINVAL ? ENOSYS : error);  // EINVAL: not in this kernel
    }
    MapCallerToRoot(user, group);
}

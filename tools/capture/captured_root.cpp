#include "tools/capture/captured_root.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "base/error_text.h"
#include "base/file_io.h"
#include "base/paths.h"
#include "base/unique_fd.h"
#include "tools/command.h"

namespace tools {

namespace {

bool WriteFile(const char* path, const std::string& text) {
    const CUniqueFd file(open(path, O_WRONLY | O_CLOEXEC));
    return file.IsValid() && WriteFully(file.Get(), text) == 0;
}

// 0 or an errno number. The user keeps the own numbers in the namespace.
int EnterUserNamespace() {
    const std::string user = std::to_string(geteuid());
    const std::string group = std::to_string(getegid());
    if (unshare(CLONE_NEWUSER) != 0) {
        return errno;
    }
    // Files that belong to nobody are harmless, so what cannot be mapped stays so.
    (void)WriteFile(paths::kProcSelfSetgroups, "deny");
    (void)WriteFile(paths::kProcSelfUidMap, user + ' ' + user + " 1\n");
    (void)WriteFile(paths::kProcSelfGidMap, group + ' ' + group + " 1\n");
    return 0;
}

// 0 or an errno number.
int ChangeRoot(const std::string& folder) {
    if (chroot(folder.c_str()) != 0 || chdir("/") != 0) {
        return errno;
    }
    return 0;
}

bool IsFolder(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

int EnterCapturedRoot(const std::string& folder) {
    if (!IsFolder(folder)) {
        return Fail(kNotFound, "there is no folder " + folder);
    }
    int error = ChangeRoot(folder);
    if (error == EPERM) {
        error = EnterUserNamespace();
        if (error != 0) {
            return Fail(kFailure, std::string("cannot go into a captured tree: user namespaces are "
                                              "refused (") +
                                      CErrorText(error).Get() + "); try as root");
        }
        error = ChangeRoot(folder);
    }
    if (error != 0) {
        return Fail(kFailure, "cannot go into " + folder + ": " + CErrorText(error).Get());
    }
    if (!IsFolder(paths::kProcBusPci)) {
        return Fail(kNotFound, folder + " is no captured tree: it has no " +
                                   std::string(paths::kProcBusPci).substr(1));
    }
    return kSuccess;
}

}  // namespace tools

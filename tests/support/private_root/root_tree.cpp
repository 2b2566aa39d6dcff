#include "tests/support/private_root/root_tree.h"

#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>

#include "base/unique_fd.h"
#include "tests/support/private_root/mounts.h"
#include "tests/support/private_root/programs.h"
#include "tests/support/private_root/refusal.h"
#include "tests/support/private_root_marker.h"

namespace {

// The machine's whole root, while the private one is being built.
const std::string kMachine = "/.machine";

// A folder that stays reachable at its own path.
struct SharedTree {
    std::string Path;
    std::string RealPath;  // without links, which would be followed inside the private root
    bool Writable;
};

SharedTree FindSharedTree(const char* path, bool writable) {
    const std::unique_ptr<char, decltype(&free)> real(realpath(path, nullptr), &free);
    if (real == nullptr) {
        const int error = errno;
        Refuse(path, error);
    }
    return {path, real.get(), writable};
}

// Makes an empty tmpfs the root and shows the machine's root, its /tmp included, at kMachine.
void EnterEmptyRoot() {
    constexpr char kStage[] = "/tmp";  // any folder that every machine has
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        const int error = errno;
        Refuse("make the mounts private", error);
    }
    MountTmpfs(kStage);
    MakeDirectory(kStage + kMachine);
    if (syscall(SYS_pivot_root, kStage, (kStage + kMachine).c_str()) != 0 || chdir("/") != 0) {
        const int error = errno;
        Refuse("pivot_root", error);
    }
}

void LeaveMachineRoot() {
    if (umount2(kMachine.c_str(), MNT_DETACH) != 0 || rmdir(kMachine.c_str()) != 0) {
        const int error = errno;
        Refuse("leave the machine's root", error);
    }
}

void ShareReadOnly(const std::string& name, const std::string& path) {
    MakeDirectory(path);
    Bind(kMachine + name, path);
    MakeReadOnly(path);
}

// Where the machine has /bin, /lib and their like as links into /usr, so has the private root.
void AddTopLevelFolders() {
    for (const std::string name : {"/bin", "/sbin", "/lib", "/lib32", "/lib64", "/libx32"}) {
        char target[PATH_MAX];
        const ssize_t length = readlink((kMachine + name).c_str(), target, sizeof target);
        if (length > 0) {
            MakeLink(std::string(target, static_cast<std::size_t>(length)), name);
        } else if (access((kMachine + name).c_str(), F_OK) == 0) {
            ShareReadOnly(name, name);
        }
    }
}

void AddUsr() {
    ShareReadOnly("/usr", "/usr");
    MakeDirectory(kHiddenPrograms);
    for (const std::string name : {"/bin", "/sbin"}) {
        ShareReadOnly("/usr" + name, kHiddenPrograms + name);
        MountTmpfs("/usr" + name);
    }
    for (const std::string name : {"/usr/local/bin", "/usr/local/sbin"}) {
        if (access(name.c_str(), F_OK) == 0) {
            MountTmpfs(name);
        }
    }
    AddTopLevelFolders();
}

// Libraries that a machine keeps outside the default folders are found through this file only.
void CopyLoaderCache() {
    const std::string path = "/etc/ld.so.cache";
    const CUniqueFd from(open((kMachine + path).c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    if (!from.IsValid() || fstat(from.Get(), &status) != 0) {
        return;
    }
    const CUniqueFd to(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    (void)sendfile(to.Get(), from.Get(), nullptr, static_cast<std::size_t>(status.st_size));
}

void AddStateFolders() {
    for (const char* name : {"/etc", "/run", "/run/lock", "/sys", "/var", "/var/log"}) {
        MakeDirectory(name);
    }
    for (const char* name : {"/tmp", "/var/tmp"}) {
        MakeDirectory(name, 01777);
    }
    MakeLink("/run", "/var/run");
    MakeLink("/run/lock", "/var/lock");
    CopyLoaderCache();
    MakeEmptyFile(kPrivateRootMarker);
}

void AddDevices() {
    MakeDirectory("/dev");
    MakeDirectory("/dev/shm", 01777);
    for (const std::string name :
         {"/dev/null", "/dev/zero", "/dev/full", "/dev/random", "/dev/urandom", "/dev/tty"}) {
        MakeEmptyFile(name);
        Bind(kMachine + name, name);
    }
    MakeLink("/proc/self/fd", "/dev/fd");
    MakeLink("/proc/self/fd/0", "/dev/stdin");
    MakeLink("/proc/self/fd/1", "/dev/stdout");
    MakeLink("/proc/self/fd/2", "/dev/stderr");
}

void AddProc() {
    MakeDirectory("/proc");
    if (mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) != 0) {
        const int error = errno;
        Refuse("mount /proc", error);
    }
    // A test that is the machine's root must not change the kernel's settings either.
    Bind("/proc/sys", "/proc/sys");
    MakeReadOnly("/proc/sys");
    MountTmpfs("/proc/bus");
}

void AddSharedTree(const SharedTree& tree) {
    MakeDirectories(tree.Path);
    Bind(kMachine + tree.RealPath, tree.Path);
    if (!tree.Writable) {
        MakeReadOnly(tree.Path);
    }
}

void AddMount(const TmpfsMount& entry) {
    MakeDirectories(entry.Path);
    MountTmpfs(entry.Path, "mode=755,size=" + entry.Size);
}

}  // namespace

void EnterRootTree(const Options& options) {
    // All that is looked up in the machine's root comes before the change.
    char workingDirectory[PATH_MAX];
    const bool isKnown = getcwd(workingDirectory, sizeof workingDirectory) != nullptr;
    const std::vector<ProgramLink> programs = ResolvePrograms(options.Programs);
    const SharedTree source = FindSharedTree(MORLA_SOURCE_TREE, false);
    const SharedTree build = FindSharedTree(MORLA_BUILD_TREE, true);

    EnterEmptyRoot();
    AddUsr();
    LinkPrograms(programs);
    AddStateFolders();
    AddDevices();
    AddProc();
    AddSharedTree(source);
    AddSharedTree(build);  // after the source, in which it may lie
    for (const TmpfsMount& entry : options.Mounts) {
        AddMount(entry);
    }
    LeaveMachineRoot();
    if (isKnown) {
        // Fails, and leaves the command in "/", where the folder is no part of the private root.
        [[maybe_unused]] const int result = chdir(workingDirectory);
    }
}

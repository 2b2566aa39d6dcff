#include "tests/support/private_root/root_tree.h"

#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <map>
#include <memory>
#include <string>

#include "base/unique_fd.h"
#include "tests/support/private_root/mounts.h"
#include "tests/support/private_root/refusal.h"
#include "tests/support/private_root_marker.h"

namespace {

// The machine's whole root, while the private one is being built.
const std::string kMachine = "/.machine";

// Where the machine's own program folders hide inside, read-only. The links in /usr/bin point
// there.
const std::string kHiddenPrograms = "/.programs";

// A shell and what scripts in tests use. Nothing that the product itself calls (gzip, systemctl,
// runlevel): each test names those that it wants to exist.
constexpr const char* kUsualPrograms[] = {
    "bash", "cat",   "chmod", "cp",   "cut",  "dash",  "date", "dd",   "echo",  "env",
    "expr", "false", "grep",  "head", "id",   "kill",  "ln",   "ls",   "mkdir", "mkfifo",
    "mv",   "od",    "ps",    "pwd",  "rm",   "rmdir", "sed",  "seq",  "sh",    "sleep",
    "sort", "stat",  "tail",  "tee",  "test", "touch", "tr",   "true", "uname", "wc",
};

// The file that `path` names in the end, without links, which would be followed inside; empty when
// there is none.
std::string RealPath(const std::string& path) {
    const std::unique_ptr<char, decltype(&free)> real(realpath(path.c_str(), nullptr), &free);
    return real != nullptr ? real.get() : "";
}

// Where programs are found inside, and what the links there say: the usual ones, as far as the
// machine has them, and `wanted`, which it must have.
std::map<std::string, std::string> ResolvePrograms(const std::vector<std::string>& wanted) {
    std::map<std::string, std::string> links;
    for (const char* name : kUsualPrograms) {
        const std::string path = std::string("/usr/bin/") + name;
        links[path] = RealPath(path);
    }
    for (const std::string& path : wanted) {
        links[path] = RealPath(path);
        Demand(!links[path].empty(), path);
    }
    std::erase_if(links, [](const auto& link) { return link.second.empty(); });
    for (auto& [path, target] : links) {
        if (target.starts_with("/usr/bin/") || target.starts_with("/usr/sbin/")) {
            target = kHiddenPrograms + target.substr(sizeof "/usr" - 1);
        }
    }
    return links;
}

// Makes an empty tmpfs the root and shows the machine's root, its /tmp included, at kMachine.
void EnterEmptyRoot() {
    constexpr char kStage[] = "/tmp";  // any folder that every machine has
    Demand(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "private mounts");
    MountTmpfs(kStage);
    MakeDirectory(kStage + kMachine);
    Demand(syscall(SYS_pivot_root, kStage, (kStage + kMachine).c_str()) == 0, "pivot_root");
    Demand(chdir("/") == 0, "chdir");
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
    Demand(mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) == 0, "/proc");
    // A test that is the machine's root must not change the kernel's settings either.
    Bind("/proc/sys", "/proc/sys");
    MakeReadOnly("/proc/sys");
    MountTmpfs("/proc/bus");
}

// A folder that stays reachable at its own path.
void AddSharedTree(const std::string& path, const std::string& realPath) {
    MakeDirectories(path);
    Bind(kMachine + realPath, path);
}

}  // namespace

void EnterRootTree(const TreeOptions& options) {
    // All that is looked up in the machine's root comes before the change.
    const std::string workingDirectory = RealPath(".");
    const std::map<std::string, std::string> programs = ResolvePrograms(options.Programs);
    const std::string source = RealPath(MORLA_SOURCE_TREE);
    const std::string build = RealPath(MORLA_BUILD_TREE);

    EnterEmptyRoot();
    AddUsr();
    for (const auto& [path, target] : programs) {
        MakeLink(target, path);
    }
    AddStateFolders();
    AddDevices();
    AddProc();
    AddSharedTree(MORLA_SOURCE_TREE, source);
    MakeReadOnly(MORLA_SOURCE_TREE);
    AddSharedTree(MORLA_BUILD_TREE, build);  // after the source, in which it may lie
    for (const auto& [path, size] : options.Mounts) {
        MakeDirectories(path);
        MountTmpfs(path, "mode=755,size=" + size);
    }
    Demand(umount2(kMachine.c_str(), MNT_DETACH) == 0 && rmdir(kMachine.c_str()) == 0, kMachine);
    // Fails, and leaves the command in "/", where the folder is no part of the private root.
    [[maybe_unused]] const int result = chdir(workingDirectory.c_str());
}

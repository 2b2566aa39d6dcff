// Who runs, who holds the lock, and in which environment.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "base/directory.h"
#include "base/kernel_file.h"
#include "base/paths.h"
#include "os/proc_text.h"
#include "os/process.h"
#include "tools/doctor/process_text.h"
#include "tools/doctor/reader.h"

namespace doctor {

namespace {

constexpr std::size_t kTextLimit = 4096;  // bytes of lock, pid and fdinfo files

std::string ProcFile(int pid, const std::string& name) {
    return std::string(paths::kProc) + "/" + std::to_string(pid) + "/" + name;
}

std::string_view LastPart(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

// By the link's text first: stat of a file on a dead server would hang.
bool IsOpenAs(const std::string& link, const struct stat& file, std::string_view name) {
    char target[PATH_MAX];
    const ssize_t length = readlink(link.c_str(), target, sizeof target);
    if (length <= 0 || LastPart({target, static_cast<std::size_t>(length)}) != name) {
        return false;
    }
    struct stat status {};
    return stat(link.c_str(), &status) == 0 && status.st_dev == file.st_dev &&
           status.st_ino == file.st_ino;
}

// Whether one of the process's open files is this one and holds a lock. EACCES when it is not to be
// seen; a process that ends meanwhile holds nothing.
bool HoldsLock(int pid, const struct stat& file, std::string_view name, int& error) {
    std::vector<std::string> descriptors;
    error = ListDirectory(ProcFile(pid, "fd"), descriptors);
    for (const std::string& descriptor : descriptors) {
        std::string fdinfo;
        if (IsOpenAs(ProcFile(pid, "fd/" + descriptor), file, name) &&
            ReadKernelFile(ProcFile(pid, "fdinfo/" + descriptor).c_str(), fdinfo, kTextLimit) ==
                0 &&
            HoldsFlock(fdinfo)) {
            return true;
        }
    }
    return false;
}

// Somebody's link is what the daemon refuses, wherever it leads.
void LookAtLink(PathFacts& file) {
    struct stat status {};
    if (lstat(file.Path.c_str(), &status) == 0 && S_ISLNK(status.st_mode) && status.st_uid != 0) {
        file.Error = 0;
        file.Mode = status.st_mode;
        file.Uid = status.st_uid;
    }
}

void FindHolders(const struct stat& file, LockFacts& lock) {
    std::vector<std::string> names;
    (void)ListDirectory(paths::kProc, names);
    const std::string_view name = LastPart(lock.File.Path);
    for (const std::string& entry : names) {
        const int pid = os::ParseProcessNumber(entry);
        int error = 0;
        if (pid == 0) {
            continue;
        }
        if (HoldsLock(pid, file, name, error)) {
            if (ProcessFacts process = ReadProcess(pid); process.IsAlive()) {
                lock.Holders.push_back(std::move(process));
            }
        }
        lock.IsHidden = lock.IsHidden || error == EACCES;
    }
}

}  // namespace

PathFacts ReadPath(const std::string& path) {
    PathFacts facts;
    facts.Path = path;
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        facts.Error = errno;
        return facts;
    }
    facts.Mode = status.st_mode;
    facts.Uid = status.st_uid;
    facts.Gid = status.st_gid;
    facts.Modified = status.st_mtime;
    return facts;
}

ProcessFacts ReadProcess(int pid) {
    ProcessFacts process;
    process.Pid = pid;
    std::string name;
    const PathFacts folder = ReadPath(ProcFile(pid, ""));
    if (folder.IsThere() && ReadKernelFile(ProcFile(pid, "comm").c_str(), name) == 0) {
        process.Name = os::FirstLine(name);
        process.Uid = folder.Uid;
    }
    return process;
}

void ReadLock(LockFacts& lock, std::vector<std::string>& unseen) {
    lock.File = ReadPath(std::string(paths::kInstanceLock) + ".lock");
    LookAtLink(lock.File);
    struct stat status {};
    if (!lock.File.IsThere() || !S_ISREG(lock.File.Mode) ||
        stat(lock.File.Path.c_str(), &status) != 0) {
        return;
    }
    (void)ReadKernelFile(lock.File.Path.c_str(), lock.Text, kTextLimit);
    std::string locks;
    (void)ReadKernelFile(paths::kProcLocks, locks);
    lock.IsLocked = IsFlocked(locks, status.st_dev, status.st_ino);
    FindHolders(status, lock);
    if (lock.IsHidden && lock.Holders.empty()) {
        unseen.emplace_back("who holds the lock");
    }
}

PidFileFacts ReadPidFile() {
    PidFileFacts facts;
    facts.File = ReadPath(paths::kPidFile);
    if (!facts.File.IsThere()) {
        return facts;
    }
    facts.File.Error = ReadKernelFile(paths::kPidFile, facts.Text, kTextLimit);
    const int pid = os::ParseProcessNumber(os::FirstLine(facts.Text));
    if (pid != 0) {
        facts.Process = ReadProcess(pid);
    }
    return facts;
}

void ReadEnvironment(int daemonPid, EnvironmentFacts& environment,
                     std::vector<std::string>& unseen) {
    std::string text;
    if (daemonPid != 0) {
        const std::string path = ProcFile(daemonPid, "environ");
        if (ReadKernelFile(path.c_str(), text) == 0) {
            environment.Source = "the running daemon, process " + std::to_string(daemonPid);
            environment.Variables = ParseEnvironment(text);
            return;
        }
        unseen.emplace_back("the environment of the running daemon");
    }
    if (ReadKernelFile(paths::kServiceEnvironment, text) == 0) {
        environment.Source = std::string(paths::kServiceEnvironment) + ", for the next start";
        environment.Variables = ParseEnvironmentFile(text);
        return;
    }
    environment.Source = "this shell, for a daemon that is started from it";
    for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
        environment.Variables.merge(ParseEnvironment(*variable));
    }
}

}  // namespace doctor

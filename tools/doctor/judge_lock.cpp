// The instance lock and the pid file: who runs, and who keeps the daemon from running.
#include <algorithm>
#include <cerrno>

#include "base/error_text.h"
#include "os/proc_text.h"
#include "tools/doctor/judge.h"

namespace doctor {

namespace {

constexpr char kProgram[] = "morla";  // the daemon's executable, and so the kernel's name of it

std::string Show(const ProcessFacts& process) {
    return "process " + std::to_string(process.Pid) + " (" + process.Name + ", user " +
           std::to_string(process.Uid) + ")";
}

void JudgeHeldLock(const LockFacts& lock, CFindings& findings) {
    const auto foreign = std::find_if_not(lock.Holders.begin(), lock.Holders.end(), IsDaemon);
    if (foreign != lock.Holders.end()) {
        findings.Error("lock",
                       lock.File.Path + " is held by " + Show(*foreign) +
                           ", which is not the daemon and keeps it from starting",
                       "find out who started it, then: kill " + std::to_string(foreign->Pid));
    } else if (lock.Holders.empty()) {
        findings.Warning("lock", lock.File.Path + " is held by a process that is not to be seen",
                         "run it as root");
    } else {
        findings.Ok("lock", lock.File.Path + " is held by the daemon, " + Show(lock.Holders[0]));
    }
}

// The daemon among the holders, or null.
const ProcessFacts* FindDaemon(const LockFacts& lock) {
    const auto place = std::find_if(lock.Holders.begin(), lock.Holders.end(), IsDaemon);
    return place != lock.Holders.end() ? &*place : nullptr;
}

void JudgePid(const PidFileFacts& file, const LockFacts& lock, const ProcessFacts* daemon,
              CFindings& findings) {
    const std::string remove = "rm " + file.File.Path;
    if (!file.Process) {
        findings.Warning("pid-file", file.File.Path + " holds no process number", remove);
    } else if (daemon != nullptr && daemon->Pid == file.Process->Pid) {
        findings.Ok("pid-file", file.File.Path + " names it");
    } else if (daemon != nullptr) {
        findings.Error("pid-file",
                       file.File.Path + " names process " + std::to_string(file.Process->Pid) +
                           ", the daemon is " + std::to_string(daemon->Pid),
                       "restart the daemon");
    } else if (!file.Process->IsAlive()) {
        findings.Warning("pid-file",
                         file.File.Path + " is stale: process " +
                             std::to_string(file.Process->Pid) + " does not run",
                         "read what happened before the crash, then start the daemon again");
    } else if (IsDaemon(*file.Process) && lock.IsHidden) {
        findings.Warning("pid-file",
                         file.File.Path + " names the daemon, " + Show(*file.Process) +
                             "; whether it holds the lock is not to be seen",
                         "run it as root");
    } else if (IsDaemon(*file.Process)) {
        findings.Error("pid-file",
                       file.File.Path + " names the daemon, " + Show(*file.Process) +
                           ", which does not hold the lock",
                       "restart the daemon");
    } else {
        findings.Error(
            "pid-file",
            file.File.Path + " names " + Show(*file.Process) + ", which is not the daemon", remove);
    }
}

}  // namespace

bool IsDaemon(const ProcessFacts& process) {
    return process.Name == kProgram && process.Uid == 0;
}

void JudgeLock(const LockFacts& lock, CFindings& findings) {
    if (lock.File.Error == ENOENT) {
        findings.Ok("lock", lock.File.Path + " is not there: no daemon runs");
    } else if (!lock.File.IsThere()) {
        findings.Warning("lock", lock.File.Path + ": " + CErrorText(lock.File.Error).Get(),
                         "run it as root");
    } else if (!S_ISREG(lock.File.Mode)) {
        findings.Error("lock", lock.File.Path + " is not a regular file",
                       "rm -r " + lock.File.Path);
    } else if (lock.IsLocked || !lock.Holders.empty()) {
        JudgeHeldLock(lock, findings);
    } else if (lock.IsHidden) {
        findings.Warning("lock", lock.File.Path + " is there; whether it is held is not to be seen",
                         "run it as root");
    } else if (lock.File.Uid != 0) {
        findings.Error("lock",
                       lock.File.Path + " belongs to user " + std::to_string(lock.File.Uid) +
                           "; the daemon does not take it over",
                       "rm " + lock.File.Path);
    } else {
        findings.Warning("lock",
                         lock.File.Path + " says \"" + lock.Text +
                             "\", but nobody holds it: the daemon was killed or crashed",
                         "start the daemon again, it takes the file over");
    }
}

void JudgePidFile(const PidFileFacts& file, const LockFacts& lock, CFindings& findings) {
    const ProcessFacts* const daemon = FindDaemon(lock);
    if (file.File.IsThere()) {
        JudgePid(file, lock, daemon, findings);
    } else if (file.File.Error != ENOENT) {
        findings.Warning("pid-file", file.File.Path + ": " + CErrorText(file.File.Error).Get(),
                         "run it as root");
    } else if (daemon != nullptr) {
        findings.Warning("pid-file",
                         file.File.Path +
                             " is not there although the daemon runs: it is still "
                             "starting, or could not write the file",
                         "look again in a minute; if it stays so, restart the daemon");
    } else {
        findings.Ok("pid-file", file.File.Path + " is not there: no daemon runs");
    }
}

}  // namespace doctor

// The instance lock and the execution of processes under faults.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "base/unique_fd.h"
#include "daemon/file_lock.h"
#include "os/process.h"
#include "scripts/faults/scenario.h"
#include "scripts/faults/window.h"

namespace {

constexpr char kLockFile[] = "/run/faults/deep/zentd.lock";

bool IsLockedByOther(const char* path) {
    const CUniqueFd other(open(path, O_RDONLY | O_CLOEXEC));
    return other.IsValid() && flock(other.Get(), LOCK_EX | LOCK_NB) != 0;
}

}  // namespace

namespace {

void RunLockWith(std::string_view stale) {
    if (!stale.empty()) {
        Put(kLockFile, stale);
    }
    auto lock = std::make_unique<CFileLock>();
    bool isLocked = false;
    bool isHeld = false;
    UnderFaultsHoldingNothing([&] {
        isLocked = lock->Lock("/run/faults/deep/zentd", "zentd", 0);
        CloseFaultWindow();
        isHeld = isLocked && IsLockedByOther(kLockFile);
        OpenFaultWindow();
        lock.reset();
    });
    Outcome(isLocked ? "done" : "refused");
    Demand(!isLocked || isHeld, "told locked, but is free");
    CFileLock next;
    Demand(next.Lock("/run/faults/deep/zentd", "zentd", 0), "the next start is refused");
    Demand(ContentOf(kLockFile) == "zentd#" + std::to_string(getpid()),
           "the lock file holds: " + ContentOf(kLockFile));
}

}  // namespace

void RunLock() {
    RunLockWith("");
}

void RunStaleLock() {
    RunLockWith("zentd#1234567890");
}

void RunProcess() {
    bool isDone = false;
    unsigned int pid = 0;
    unsigned int exitCode = 0;
    UnderFaultsHoldingNothing([&] {
        isDone = CProcess::ExecuteCmd("true", pid, exitCode, "/tmp", false, false);
        if (!isDone) {
            (void)!chdir("/");  // the way back may be what failed: told by the result, and no more
        }
    });
    Outcome(isDone ? "done" : "refused");
    Demand(!isDone || exitCode == 0, "told done, but the exit code is not 0");
    Demand(CProcess::ExecuteCmd("true", "/tmp", false, false), "the next one fails");
}

void RunProcessQueries() {
    std::string name;
    std::string path;
    unsigned long sizes[5] = {};
    unsigned int found = 0;
    bool isKnown = false;
    bool isMeasured = false;
    UnderFaultsHoldingNothing([&] {
        const auto own = static_cast<unsigned int>(getpid());
        isKnown = CProcess::GetProcessInfo(own, name, path);
        isMeasured = CProcess::GetProcessMemoryInfo(own, &sizes[0], &sizes[1], &sizes[2], &sizes[3],
                                                    &sizes[4]);
        (void)CProcess::FindProcess(found, "fault_scenarios");
    });
    Outcome(isKnown && isMeasured ? "done" : "refused");
    // A name that cannot be read, of a file that could be opened, is empty.
    Demand(!isKnown || name.empty() || name == "fault_scenarios", "told a name: " + name);
    Demand(!isMeasured || (sizes[0] != 0 && sizes[1] != 0), "measured nothing");
}

// Privileges, directories, the driver's node and gzip.
#include <cerrno>

#include "base/error_text.h"
#include "base/paths.h"
#include "tools/doctor/judge.h"

namespace doctor {

namespace {

// Who else than root may change what is there; empty: nobody.
std::string Distrust(const PathFacts& path) {
    if (path.Uid != 0) {
        return "belongs to user " + std::to_string(path.Uid) + ", not to root";
    }
    if ((path.Mode & S_IWOTH) != 0) {
        return "can be written by everybody";
    }
    if ((path.Mode & S_IWGRP) != 0 && path.Gid != 0) {
        return "can be written by group " + std::to_string(path.Gid);
    }
    return "";
}

// A directory whose absence is told by `missing`; with an empty cure the absence is in order.
struct DirectoryRule {
    const char* Check;
    std::string What;  // stands before what is wrong
    const char* Missing;
    std::string Cure;
};

void JudgeDirectory(const PathFacts& path, const DirectoryRule& rule, Verdict ifMissing,
                    CFindings& findings) {
    const std::string name = rule.What + " " + path.Path;
    if (path.Error == ENOENT && ifMissing == Verdict::kOk) {
        findings.Ok(rule.Check, name + " is not there: " + rule.Missing);
    } else if (path.Error == ENOENT && ifMissing == Verdict::kWarning) {
        findings.Warning(rule.Check, name + " is not there: " + rule.Missing, rule.Cure);
    } else if (path.Error == ENOENT) {
        findings.Error(rule.Check, name + " is not there: " + rule.Missing, rule.Cure);
    } else if (!path.IsThere()) {
        findings.Warning(rule.Check, name + ": " + CErrorText(path.Error).Get(), "run it as root");
    } else if (!S_ISDIR(path.Mode)) {
        findings.Error(rule.Check, name + " is not a directory", "remove it; " + rule.Cure);
    } else if (const std::string distrust = Distrust(path); !distrust.empty()) {
        findings.Error(rule.Check, name + " " + distrust,
                       "chown root " + path.Path + "; chmod go-w " + path.Path);
    } else {
        findings.Ok(rule.Check, name + " is there and only root can write it");
    }
}

std::string MakeDirectory(const std::string& path, const char* mode) {
    return std::string("install -d -o root -g root -m ") + mode + " " + path;
}

}  // namespace

std::string WritersBesideRoot(const PathFacts& path) {
    return Distrust(path);
}

void JudgePrivileges(const Facts& facts, CFindings& findings) {
    if (facts.IsRoot && facts.Unseen.empty()) {
        findings.Ok("privileges", "run by root, who sees everything");
        return;
    }
    std::string unseen;
    for (const std::string& what : facts.Unseen) {
        unseen += (unseen.empty() ? "" : ", ") + what;
    }
    if (unseen.empty()) {
        findings.Ok("privileges", "not run by root, but nothing was hidden");
    } else {
        findings.Warning("privileges", "not seen: " + unseen,
                         facts.IsRoot ? "look at these yourself" : "run it as root");
    }
}

void JudgeDirectories(const Facts& facts, const std::string& traceDirectory, CFindings& findings) {
    const auto at = [&facts](const std::string& path) -> const PathFacts& {
        return facts.Directories.at(path);
    };
    const std::string settings = paths::kRegistryDirectory;
    JudgeDirectory(at(settings),
                   {"directory", "settings directory", "no run-level file, no switch.ini",
                    MakeDirectory(settings, "755")},
                   Verdict::kWarning, findings);
    const std::string config = paths::kTraceConfigDirectory;
    JudgeDirectory(
        at(config),
        {"directory", "trace configuration", "defaults and environment variables hold", ""},
        Verdict::kOk, findings);
    JudgeDirectory(at(traceDirectory),
                   {"directory", "trace directory", "no log file and no ring can be written",
                    MakeDirectory(traceDirectory, "750")},
                   Verdict::kError, findings);
    const PathFacts& locks = at(paths::kLockDirectory);
    if (locks.IsThere() && S_ISDIR(locks.Mode) && locks.Uid == 0 && (locks.Mode & S_ISVTX) != 0 &&
        (locks.Mode & S_IWOTH) != 0) {
        findings.Ok("directory", "lock directory " + locks.Path +
                                     " lets everybody make files, as is usual; see the lock below");
        return;
    }
    JudgeDirectory(locks, {"directory", "lock directory", "the daemon makes it", ""}, Verdict::kOk,
                   findings);
}

void JudgeDriver(const PathFacts& driver, CFindings& findings) {
    if (driver.Error == ENOENT || driver.Error == ENOTDIR) {
        findings.Ok("driver",
                    driver.Path + " is not there; the daemon goes on without the hardware driver");
    } else if (!driver.IsThere()) {
        findings.Warning("driver", driver.Path + ": " + CErrorText(driver.Error).Get(),
                         "run it as root");
    } else if (!S_ISCHR(driver.Mode)) {
        findings.Warning("driver", driver.Path + " is not a character device",
                         "remove it and load the driver again");
    } else if (const std::string distrust = Distrust(driver); !distrust.empty()) {
        findings.Error("driver", driver.Path + " " + distrust, "chmod go-w " + driver.Path);
    } else {
        findings.Ok("driver", driver.Path + " is there");
    }
}

void JudgeGzip(const std::string& gzip, CFindings& findings) {
    if (gzip.empty()) {
        findings.Warning("gzip", "not found: the start-up ring is kept without compression",
                         "install the package gzip");
    } else {
        findings.Ok("gzip", gzip + " compresses the start-up ring");
    }
}

}  // namespace doctor

// The rest of the machine, and the order of the readings: later ones need what earlier ones found.
#include <paths.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "base/kernel_file.h"
#include "base/paths.h"
#include "tools/doctor/judge.h"
#include "tools/doctor/library_search.h"
#include "tools/doctor/reader.h"

namespace doctor {

namespace {

// The process number of the daemon, 0 when none is to be seen.
int FindDaemonPid(const Facts& facts) {
    const auto holder =
        std::find_if(facts.Lock.Holders.begin(), facts.Lock.Holders.end(), IsDaemon);
    if (holder != facts.Lock.Holders.end()) {
        return holder->Pid;
    }
    const auto& named = facts.PidFile.Process;
    return named && IsDaemon(*named) ? named->Pid : 0;
}

std::uint64_t BytesOnDisk(const std::string& path) {
    constexpr std::uint64_t kBlockBytes = 512;
    struct stat status {};
    return stat(path.c_str(), &status) == 0
               ? static_cast<std::uint64_t>(status.st_blocks) * kBlockBytes
               : 0;
}

RingFacts ReadRing(const std::string& directory) {
    RingFacts ring;
    ring.PageSize = sysconf(_SC_PAGESIZE);
    struct statvfs status {};
    if (statvfs(directory.c_str(), &status) != 0) {
        ring.Error = errno;
        return ring;
    }
    ring.FreeBytes = status.f_bfree * status.f_frsize;
    ring.PresentBytes =
        BytesOnDisk(directory + "/log.zentd_i") + BytesOnDisk(directory + "/log.zentd_a");
    return ring;
}

// As the daemon's shell would find it.
std::string FindProgram(const std::string& name, const char* programPath) {
    for (const std::string& folder :
         SearchFolders(programPath != nullptr ? programPath : paths::kProgramPath)) {
        std::string path = folder;
        path.append("/").append(name);
        if (access(path.c_str(), X_OK) == 0) {
            return path;
        }
    }
    return "";
}

RunLevelFacts ReadRunLevel() {
    RunLevelFacts facts;
    facts.HasSystemctl = ReadPath(paths::kSystemctl).IsThere();
    facts.File = ReadPath(paths::kRunLevelFile);
    (void)ReadKernelFile(paths::kRunLevelFile, facts.Text);
    facts.HasUtmp = ReadPath(_PATH_UTMP).IsThere();
    facts.HasProgram = ReadPath(paths::kRunLevelProgram).IsThere();
    return facts;
}

}  // namespace

Facts ReadFacts() {
    Facts facts;
    facts.IsRoot = geteuid() == 0;
    ReadLock(facts.Lock, facts.Unseen);
    facts.PidFile = ReadPidFile();
    const int daemonPid = FindDaemonPid(facts);
    if (daemonPid != 0) {
        facts.DaemonStart = facts.PidFile.File.Modified;
    }
    ReadEnvironment(daemonPid, facts.Environment, facts.Unseen);
    facts.TraceConfig = ReadTraceConfig();
    const std::string planned = PlanTrace(facts).Directory;
    const std::string traceDirectory = planned.empty() ? "/" : planned;
    for (const std::string& path :
         {std::string(paths::kRegistryDirectory), std::string(paths::kTraceConfigDirectory),
          std::string(paths::kLockDirectory), traceDirectory}) {
        facts.Directories[path] = ReadPath(path);
    }
    facts.Ring = ReadRing(traceDirectory);
    facts.Gzip = FindProgram("gzip", facts.Environment.Find("PATH"));
    facts.Driver = ReadPath(paths::kSmbusDevice);
    facts.Switch = ReadSwitch(daemonPid, facts.Environment);
    facts.Modules = ReadModules();
    facts.RunLevel = ReadRunLevel();
    return facts;
}

}  // namespace doctor

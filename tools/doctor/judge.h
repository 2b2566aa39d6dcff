// The judges of morlactl doctor: from facts to findings. They call nothing.
#pragma once

#include <cstdint>
#include <string>

#include "tools/doctor/facts.h"
#include "tools/doctor/finding.h"

namespace doctor {

// What the trace will do with files and environment as they are.
struct TracePlan {
    bool IsEnvironmentRead = true;  // no: there is a directory without any file
    bool HasMemoryColumn = true;
    std::uint32_t DynamicUpdate = 0;  // seconds; 0 = never
    std::uint32_t LogFileLimit = 0;   // bytes
    std::uint32_t Level = 0;
    std::uint32_t Factor = 0;  // not yet limited
    std::uint32_t Weight = 0;
    std::string Directory;
};

// Follows the rules by which the daemon reads its settings.
[[nodiscard]] TracePlan PlanTrace(const Facts& facts);

// Who may write a path beside root, or whose it is instead; empty: nobody.
[[nodiscard]] std::string WritersBesideRoot(const PathFacts& path);

void JudgePrivileges(const Facts& facts, CFindings& findings);
void JudgeDirectories(const Facts& facts, const std::string& traceDirectory, CFindings& findings);
void JudgeDriver(const PathFacts& driver, CFindings& findings);
void JudgeGzip(const std::string& gzip, CFindings& findings);
// `daemonStart`: seconds since the epoch, 0 when no daemon runs.
void JudgeTraceConfig(const TraceConfigFacts& config, std::int64_t daemonStart,
                      CFindings& findings);
void JudgeEnvironment(const EnvironmentFacts& environment, const TracePlan& plan,
                      CFindings& findings);
void JudgeLevel(const TracePlan& plan, CFindings& findings);
void JudgeRing(const RingFacts& ring, const TracePlan& plan, CFindings& findings);
void JudgeLock(const LockFacts& lock, CFindings& findings);
void JudgePidFile(const PidFileFacts& file, const LockFacts& lock, CFindings& findings);
void JudgeSwitch(const SwitchFacts& library, CFindings& findings);
void JudgeModules(const ModulesFacts& modules, CFindings& findings);
void JudgeRunLevel(const RunLevelFacts& runLevel, const char* nickname, CFindings& findings);

// The process is the daemon, as far as its name and its user tell.
[[nodiscard]] bool IsDaemon(const ProcessFacts& process);

// All of them, in the order in which they are shown.
[[nodiscard]] CFindings Judge(const Facts& facts);

}  // namespace doctor

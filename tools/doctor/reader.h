// The readers of morlactl doctor: they look at the machine and judge nothing. None of them writes,
// takes a lock or runs a program.
#pragma once

#include <string>

#include "tools/doctor/facts.h"

namespace doctor {

[[nodiscard]] PathFacts ReadPath(const std::string& path);

// Adds what this user may not see to `unseen`, here and below.
void ReadLock(LockFacts& lock, std::vector<std::string>& unseen);
[[nodiscard]] PidFileFacts ReadPidFile();
[[nodiscard]] ProcessFacts ReadProcess(int pid);

// `daemonPid`: 0 when none runs.
void ReadEnvironment(int daemonPid, EnvironmentFacts& environment,
                     std::vector<std::string>& unseen);

[[nodiscard]] TraceConfigFacts ReadTraceConfig();
[[nodiscard]] SwitchFacts ReadSwitch(int daemonPid, const EnvironmentFacts& environment);
[[nodiscard]] ModulesFacts ReadModules();

// Everything.
[[nodiscard]] Facts ReadFacts();

}  // namespace doctor

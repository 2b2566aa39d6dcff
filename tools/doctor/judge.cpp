#include "tools/doctor/judge.h"

namespace doctor {

CFindings Judge(const Facts& facts) {
    CFindings findings;
    const TracePlan plan = PlanTrace(facts);
    JudgePrivileges(facts, findings);
    JudgeDirectories(facts, plan.Directory.empty() ? "/" : plan.Directory, findings);
    JudgeTraceConfig(facts.TraceConfig, facts.DaemonStart, findings);
    JudgeEnvironment(facts.Environment, plan, findings);
    JudgeLevel(plan, findings);
    JudgeRing(facts.Ring, plan, findings);
    JudgeGzip(facts.Gzip, findings);
    JudgeDriver(facts.Driver, findings);
    JudgeLock(facts.Lock, findings);
    JudgePidFile(facts.PidFile, facts.Lock, findings);
    JudgeSwitch(facts.Switch, findings);
    JudgeModules(facts.Modules, findings);
    JudgeRunLevel(facts.RunLevel, facts.Environment.Find("HX_NICKNAME"), findings);
    return findings;
}

}  // namespace doctor

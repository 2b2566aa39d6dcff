// What the scenarios share: one piece of work under a fault, and what must hold behind it.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <string_view>

// What this process holds: open descriptors with their targets, mapped files, children, working
// directory and blocked signals, a line each.
std::set<std::string> HeldThings();

// A line that names the breach; the scenario goes on, and ends with 1.
void Report(std::string_view breach);
void Demand(bool isTrue, std::string_view breach);

// Runs the work with the window of faults open. An exception that leaves it is a breach.
void UnderFaults(const std::function<void()>& work);

// The same, and nothing more is held behind it than before.
void UnderFaultsHoldingNothing(const std::function<void()>& work);

// Says what became of the work ("done", "refused"); the last word counts.
void Outcome(std::string_view word);

// True when this process finds what another left that was killed in the same scenario. Then nothing
// is prepared and there are no faults.
bool IsLookBehindKill();

std::string ContentOf(const std::string& path);  // empty where there is no such file
bool IsThere(const std::string& path);
void Put(const std::string& path, std::string_view text);

struct Scenario {
    std::string_view Name;
    void (*Run)();
};

// In the files named after them.
void RunRegistrySave();
void RunRegistryRead();
void RunIniSet();
void RunIniNewSection();
void RunIniDelete();
void RunIniCreate();
void RunRing();
void RunDynamicUpdate();
void RunLogFile();
void RunLock();
void RunStaleLock();
void RunProcess();
void RunProcessQueries();

void RunWriter(unsigned int count, unsigned int seed);

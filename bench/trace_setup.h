// Trace objects to be measured, and the proof of what survives the death of a process.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "bench/measure.h"
#include "trace/debug.h"

namespace bench {

struct TraceSettings {
    const char* Name = "bench";
    unsigned int Level = 3;
    unsigned int RingMebibytes = 1;  // 0: no ring, the log file only
    bool HasMemoryColumn = false;
    unsigned int UpdateSeconds = 0;
};

// A started trace object whose active ring is in place. Throws std::runtime_error.
std::unique_ptr<CDebug> StartTrace(const TraceSettings& settings);

// The object's active ring.
std::string RingPath(const TraceSettings& settings);
std::string LogPath(const TraceSettings& settings);

// The entry of most comparisons: two numbers and a short string.
void PrintEntries(CDebug& debug, std::size_t count);
void PrintEntriesAlways(CDebug& debug, std::size_t count);

// What identifies a line of that entry, whoever wrote it.
inline constexpr char kEntryMark[] = "rpm in zone";
inline constexpr std::size_t kSurvivalEntries = 1000;

// A child process writes kSurvivalEntries entries and kills itself with SIGKILL; returns the number
// of lines that carry the mark in the files of `folder` whose names begin with `prefix`.
std::size_t LinesAfterKill(const std::function<void()>& writeAll, const std::string& prefix);

// Both sides of the column "survives kill -9".
std::string Survival(std::size_t ours, std::size_t peer);

// Runs a program that takes no system call in a child under seccomp. Throws when one was taken.
void RequireNoSystemCall(const std::function<void()>& work, const char* what);

}  // namespace bench

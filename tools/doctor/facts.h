// What morlactl doctor reads of the machine, for the judges: plain data.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace doctor {

// What stat tells of a path, links followed.
struct PathFacts {
    std::string Path;
    int Error = 0;  // 0, or the errno number of the look; the rest then says nothing
    mode_t Mode = 0;
    uid_t Uid = 0;
    gid_t Gid = 0;
    std::int64_t Modified = 0;  // seconds since the epoch

    [[nodiscard]] bool IsThere() const { return Error == 0; }
};

struct ProcessFacts {
    int Pid = 0;
    std::string Name;  // the kernel's name of it; empty when the process is gone
    uid_t Uid = 0;

    [[nodiscard]] bool IsAlive() const { return !Name.empty(); }
};

// A configuration file of the trace; the reader keeps the names in the order of their reading.
struct TraceFileFacts {
    std::string Name;  // in the configuration directory
    PathFacts Status;
    int Error = 0;  // of the reading
    std::string Text;
};

struct TraceConfigFacts {
    int Error = 0;  // of the listing; Files is then empty
    std::vector<TraceFileFacts> Files;
};

// The environment that counts: the running daemon's, or what the next one will get.
struct EnvironmentFacts {
    std::string Source;  // "process 4711", a file's path, ...
    std::map<std::string, std::string, std::less<>> Variables;

    // Null when it is not set.
    [[nodiscard]] const char* Find(const char* name) const {
        const auto place = Variables.find(name);
        return place != Variables.end() ? place->second.c_str() : nullptr;
    }
};

struct LockFacts {
    PathFacts File;
    std::string Text;       // what stands in it
    bool IsLocked = false;  // as far as the kernel lists it
    bool IsHidden = false;  // there are processes whose files could not be seen
    std::vector<ProcessFacts> Holders;
};

struct PidFileFacts {
    PathFacts File;
    std::string Text;
    std::optional<ProcessFacts> Process;  // none: the text is no process number
};

// Where the ring goes.
struct RingFacts {
    long PageSize = 0;               // bytes
    std::uint64_t FreeBytes = 0;     // of the directory's file system, for root
    std::uint64_t PresentBytes = 0;  // of ring files there, which the next start replaces
    int Error = 0;                   // of the look at the file system
};

struct SwitchFacts {
    std::string Path;         // empty: not found
    std::string How;          // how the loader comes to it
    std::string Head;         // the first bytes of the file
    std::string Distrust;     // why somebody else than root can change it; empty: nobody can
    std::string Misfit;       // why the daemon could not use it; empty: it can, or was not tried
    bool IsReplaced = false;  // the daemon runs with a file that is gone
    std::vector<std::string> Searched;
};

struct ModulesFacts {
    int SettingsError = 0;        // ENOENT: defaults
    std::string SettingsProblem;  // for another error
    std::string Settings;         // the file's text
    std::string Directory;        // in force
    int DirectoryError = 0;       // of the directory, with its problem
    std::string DirectoryProblem;
    std::vector<std::string> Modules;  // paths
    std::vector<std::string> Refused;  // problems of modules that only root should change
};

struct RunLevelFacts {
    bool HasSystemctl = false;
    PathFacts File;
    std::string Text;
    bool HasUtmp = false;
    bool HasProgram = false;  // the runlevel program
};

struct Facts {
    bool IsRoot = false;
    std::vector<std::string> Unseen;  // what was refused to this user
    std::map<std::string, PathFacts> Directories;
    TraceConfigFacts TraceConfig;
    std::int64_t DaemonStart = 0;  // seconds since the epoch; 0: no daemon runs
    EnvironmentFacts Environment;
    RingFacts Ring;
    std::string Gzip;  // path; empty: not found
    PathFacts Driver;
    LockFacts Lock;
    PidFileFacts PidFile;
    SwitchFacts Switch;
    ModulesFacts Modules;
    RunLevelFacts RunLevel;
};

}  // namespace doctor

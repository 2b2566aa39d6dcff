// Processes: starting and ending them, finding them by name, their figures, the working directory.
//
// Files of the class: process_execute (starting, waiting, ending), process_query (name, path,
// search, working directory), process_memory (memory figures).
#pragma once

#include <string>

#include "base/export.h"

// Static operations only. A process is named by its identifier; kNone means "no process". Results
// are bool: true on success. Safe in every thread, but for the working directory, which is one for
// the whole process: an operation that is given a directory changes it for all threads meanwhile.
class MORLA_API CProcess {
public:
    static constexpr unsigned int kNone = 0xFFFFFFFF;        // no process
    static constexpr unsigned int kNoExitCode = 0xFFFFFFFF;  // not ended, or ended by a signal

    // What the memory figures are counted in; larger units are rounded down.
    enum unit : unsigned int { bytes = 0, kilobytes = 1, megabytes = 2, gigabytes = 3 };

    // --- Starting ---

    // Starts the program that the first word of `command` names, looked up through the search path,
    // with the other words as its arguments. Words are separated by white space; there is no
    // quoting and no shell. A null or empty command is a program that cannot be executed.
    //
    // `directory`: where the program runs, or null for the current one. When it cannot be entered
    // nothing is started, and `pid` and `exitCode` stay as they are.
    // `flag1`: no effect.
    // `async`: false waits for the program, and the result is true exactly when it ended with
    // status 0; `exitCode` is its status, or kNoExitCode when a signal ended it. True does not
    // wait: the result is true when there is a new process, and the caller reaps it (WaitForExit).
    // `keepDescriptors`: false closes every descriptor from 3 in the new process.
    // `pid`: the new process, or kNone when there is none.
    //
    // The new process has the caller's signal mask without SIGINT, SIGTERM, SIGHUP and SIGALRM. A
    // program that cannot be executed ends with status 255.
    //
    // A thread that is cancelled while it waits gets the working directory back and leaves the
    // program running, to be reaped by WaitForExit.
    static bool execute_command(const char* command, unsigned int& pid, unsigned int& exitCode,
                                const char* directory, bool flag1, bool async,
                                bool keepDescriptors);

    // execute_command, waiting for the program.
    static bool ExecuteCmd(const char* command, const char* directory, bool flag1,
                           bool keepDescriptors);
    static bool ExecuteCmd(const char* command, unsigned int& pid, unsigned int& exitCode,
                           const char* directory, bool flag1, bool keepDescriptors);

    // execute_command, not waiting.
    static bool ExecuteCmdAsync(const char* command, const char* directory, bool flag1,
                                bool keepDescriptors);
    static bool ExecuteCmdAsync(const char* command, unsigned int& pid, const char* directory,
                                bool flag1, bool keepDescriptors);

    // --- Waiting and ending ---

    // Waits for a child without time limit (`timeoutMs` is not used) and reaps it. True when it
    // ended with status 0. `exitCode`: its status, or kNoExitCode when a signal ended it or when
    // `pid` is no child of this process.
    static bool WaitForExit(unsigned int pid, unsigned int& exitCode, unsigned int timeoutMs);

    // Sends SIGKILL; true when it was delivered. `exitCode` is not used. kNone, 0 and whatever else
    // is not one process are refused: to the system they would mean groups of processes, or all.
    static bool TerminateProcess(unsigned int pid, unsigned int exitCode);

    // Sets `count` to 1 and returns 0: there are no handles to count.
    static int GetProcessHandleCount(unsigned int pid, unsigned int& count);

    // --- Finding and naming ---

    // The first process whose name is `name`, to the letter; otherwise false and kNone. The kernel
    // keeps 15 characters of a name, so that a longer one is never found.
    static bool FindProcess(unsigned int& pid, const char* name);

    // The kernel's name for the process, up to a line feed in it. `name` stays on failure.
    static bool GetProcessName(std::string& name, unsigned int pid);

    // The executable file as the kernel tells it; " (deleted)" follows when it is gone. `path`
    // stays on failure: no such process, no permission, or a process without one (kernel threads).
    static bool GetProcessPath(std::string& path, unsigned int pid);

    // Both; true only when both succeed.
    static bool GetProcessInfo(unsigned int pid, std::string& name, std::string& path);

    // The first line of a file in the process's directory of /proc, without its line feed, and at
    // most 8 MiB of it. False, with `out` unchanged, when the file cannot be opened.
    static bool get_proc_file(int pid, const char* file, std::string& out);

    // --- Memory ---

    // In bytes: the address space now and at its largest, what is swapped out, always 0, and the
    // address space without shared libraries. False when one of the first two is 0: no such
    // process, a kernel thread, or one that has ended. Pointers may be null: not wanted.
    static bool GetProcessMemoryInfo(unsigned int pid, unsigned long* size, unsigned long* peak,
                                     unsigned long* swap, unsigned long* fourth,
                                     unsigned long* sizeWithoutLibraries);

    // One figure of the process's status file: the line that begins with `key`, such as "VmRSS:".
    // False, with `value` unchanged, when the process or the line is missing.
    static bool GetProcessMemorySpecificInfo(unsigned int pid, unsigned long* value,
                                             std::string key, CProcess::unit unit);

    // --- Working directory of this process ---

    // False, with `dir` unchanged, when it cannot be read: removed, or 4,096 bytes and longer.
    static bool GetCurrentDir(std::string& dir);
    // False for an empty or null text and when the directory cannot be entered.
    static bool SetCurrentDir(const char* dir);
    // The empty string when it cannot be read.
    static std::string get_current_directory();
};

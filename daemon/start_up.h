// The steps of the daemon's start, in the order in which main takes them.
#pragma once

#include <span>

#include "daemon/file_lock.h"

// The name that the daemon was called by, which begins its messages on standard error. Those are
// for the time before tracing starts; later ones go to the trace only.
[[nodiscard]] const char* InvocationName(int argc, char* const* argv);

// The next three are false, with a message on standard error, when the daemon cannot start.
[[nodiscard]] bool IsStartedByRoot(const char* invocationName);
[[nodiscard]] bool LockInstance(CFileLock& lock, const char* invocationName);
// Goes on in a child process, unless the arguments ask for the foreground; the parent ends here.
[[nodiscard]] bool EnterBackground(std::span<char* const> arguments, const char* invocationName);

// Leaves session, working directory and umask of whoever started the daemon; also in the
// foreground.
void LeaveStartersEnvironment();
// Ignores SIGPIPE and SIGIO and blocks the control signals, while there is one thread only: every
// later one inherits that.
void SetUpSignals();
// Writes version and start time to the trace.
void PrintBanner();
void OpenSystemLog();
// Gives the modules a moment, then ends the start-up part of the trace.
void FinishStart();

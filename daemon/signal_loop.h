// The daemon's sleep between start and stop: waits for the control signals and acts on them.
#pragma once

#include <cstdint>

#include "daemon/switch_api.h"

// Takes the control signals, which every thread has blocked, until the exit event is set. A wait
// that fails counts as SIGTERM.
void RunSignalLoop(CSwitchApi& switchApi);

// Handles one signal: SIGHUP flips tracing, SIGALRM is ignored, any other stops the daemon: the
// switch gets its notices and the exit event is set. One that is no control signal aborts then.
void CatchSignals(std::int32_t signal, CSwitchApi& switchApi);

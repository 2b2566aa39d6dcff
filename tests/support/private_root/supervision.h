// Waiting for one child while signals pass through: what private_root does on both sides.
#pragma once

#include <signal.h>
#include <sys/types.h>

// SIGCHLD and the signals that are handed on: SIGINT, SIGTERM, SIGHUP.
sigset_t SupervisedSignals();

// Waits for `child`, burying every other child meanwhile, and sends it each control signal that a
// process sends to this one. A signal from the terminal is not handed on: the whole foreground
// group has it already. Needs SupervisedSignals() blocked. Returns the exit status of `child`, or
// 128 and the number of the signal that ended it.
int Supervise(pid_t child);

// Runs a part of a test in a child process, where process-wide state is as at the start.
#pragma once

#include <functional>

// Forks; the child runs `body` and ends as a program does, with its static objects destroyed.
// Whatever fails in it fails the calling test too. For a caller without threads.
void InFreshProcess(const std::function<void()>& body);

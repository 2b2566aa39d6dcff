// The marks around the part of a program in which faults count.
#pragma once

#include <sys/prctl.h>

// Seen by the injector, and by the preloaded allocation faults; without either the call fails and
// does nothing.
constexpr int kFaultWindow = 0x4D4F524C;

inline void OpenFaultWindow() {
    (void)prctl(kFaultWindow, 1UL, 0UL, 0UL, 0UL);
}
inline void CloseFaultWindow() {
    (void)prctl(kFaultWindow, 0UL, 0UL, 0UL, 0UL);
}

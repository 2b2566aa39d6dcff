// Raw queries of the processor's identification instruction.
#pragma once

#include "base/export.h"

// Executes CPUID with leaf `*eax` and sub-leaf 0 and stores the four result registers. Returns 1,
// or 0 with all four set to 0 when the processor does not have the leaf. Leaves below 0x80000000
// are measured against the highest basic leaf, the others against the highest extended one.
// Safe in any thread; the result is that of the processor that the thread runs on.
MORLA_API int cpuRawRead(unsigned int* eax, unsigned int* ebx, unsigned int* ecx,
                         unsigned int* edx);

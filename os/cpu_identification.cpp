#include "os/cpu_identification.h"

#include <cpuid.h>

#include "trace/debug.h"

namespace {

constexpr unsigned int kFirstExtendedLeaf = 0x80000000U;

}  // namespace

int cpuRawRead(unsigned int* eax, unsigned int* ebx, unsigned int* ecx, unsigned int* edx) {
    Debug.Print(254, "\ncpuRawRead            : TO_REMOVE");
    const unsigned int leaf = *eax;
    const unsigned int range = leaf >= kFirstExtendedLeaf ? kFirstExtendedLeaf : 0;
    unsigned int highestLeaf = 0;
    __cpuid(range, highestLeaf, *ebx, *ecx, *edx);
    if (leaf > highestLeaf) {
        *eax = *ebx = *ecx = *edx = 0;
        return 0;
    }
    __cpuid_count(leaf, 0, *eax, *ebx, *ecx, *edx);
    return 1;
}

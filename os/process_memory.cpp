// CProcess: memory figures from a process's status file.
#include <cstdint>
#include <string_view>

#include "base/kernel_file.h"
#include "base/memory_failure.h"
#include "base/paths.h"
#include "os/proc_text.h"
#include "os/process.h"

namespace {

bool ReadStatus(unsigned int pid, std::string& status) {
    return FalseWithoutMemory([&] {
        const std::string path =
            std::string(paths::kProc) + "/" + std::to_string(static_cast<int>(pid)) + "/status";
        return ReadKernelFile(path.c_str(), status) == 0;
    });
}

// In bytes; 0 when there is no such line.
unsigned long Figure(std::string_view status, std::string_view key) {
    std::uint64_t figure = 0;
    (void)os::ParseStatusFigure(status, key, figure);
    return figure;
}

void Store(unsigned long* target, unsigned long value) {
    if (target != nullptr) {
        *target = value;
    }
}

}  // namespace

// All figures come from one reading of the file, so that they belong together.
bool CProcess::GetProcessMemoryInfo(unsigned int pid, unsigned long* size, unsigned long* peak,
                                    unsigned long* swap, unsigned long* fourth,
                                    unsigned long* sizeWithoutLibraries) {
    std::string status;
    (void)ReadStatus(pid, status);  // on failure empty: every figure is 0
    const unsigned long sizeNow = Figure(status, "VmSize:");
    const unsigned long sizePeak = Figure(status, "VmPeak:");
    Store(size, sizeNow);
    Store(peak, sizePeak);
    Store(swap, Figure(status, "VmSwap:"));
    Store(fourth, 0);
    Store(sizeWithoutLibraries, sizeNow - Figure(status, "VmLib:"));
    return sizePeak != 0 && sizeNow != 0;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the operation's type is given
bool CProcess::GetProcessMemorySpecificInfo(unsigned int pid, unsigned long* value, std::string key,
                                            CProcess::unit unit) {
    constexpr unsigned int kBitsPerUnit = 10;
    std::string status;
    std::uint64_t figure = 0;
    if (!ReadStatus(pid, status) || !os::ParseStatusFigure(status, key, figure)) {
        return false;
    }
    Store(value, figure >> (kBitsPerUnit * static_cast<unsigned int>(unit)));
    return true;
}

// Preloaded, this makes the n-th allocation of a program fail: malloc, its relatives, and operator
// new, which stands on them.
//
//     FAULT_PROGRAM     the program's file name; what it executes stays unharmed
//     FAULT_ALLOCATION  which one fails, from 1; 0 counts only. "N+": all from there on
//     FAULT_COUNTER     a file of sixteen bytes: the number of allocations, and that before main
//     FAULT_WINDOW      only allocations between the program's own marks count (window.h)
#include <dlfcn.h>
#include <fcntl.h>
#include <malloc.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "base/export.h"
#include "scripts/faults/window.h"

// What the C library calls its own.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

namespace {

struct Counters {
    std::atomic<unsigned long> All;
    std::atomic<unsigned long> AtMain;  // one more than those before; 0 until main begins
};
using Main = int (*)(int, char**, char**);

// NOLINTBEGIN(cppcoreguidelines-avoid-non-const-global-variables): of the process it is loaded into
Counters* SharedCounters = nullptr;  // with forked children; null: nothing fails here
Main ProgramMain = nullptr;
unsigned long FailingNumber = 0;
bool IsLasting = false;
std::atomic<bool> IsWindowOpen{false};
// NOLINTEND(cppcoreguidelines-avoid-non-const-global-variables)

bool IsProgram(const char* name) {
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    if (name == nullptr || length <= 0) {
        return false;
    }
    path[length] = '\0';
    const char* const slash = std::strrchr(path, '/');
    return slash != nullptr && std::strcmp(slash + 1, name) == 0;
}

__attribute__((constructor)) void Begin() {
    const char* const counter = std::getenv("FAULT_COUNTER");
    const char* const failing = std::getenv("FAULT_ALLOCATION");
    if (counter == nullptr || failing == nullptr || !IsProgram(std::getenv("FAULT_PROGRAM"))) {
        return;
    }
    const int file = open(counter, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0 || ftruncate(file, sizeof(Counters)) != 0) {
        return;
    }
    void* const map = mmap(nullptr, sizeof(Counters), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    if (map == MAP_FAILED) {
        return;
    }
    char* end = nullptr;
    FailingNumber = std::strtoul(failing, &end, 10);
    IsLasting = *end == '+';
    IsWindowOpen = std::getenv("FAULT_WINDOW") == nullptr;
    SharedCounters = static_cast<Counters*>(map);
}

int BeginMain(int argc, char** argv, char** environment) {
    if (SharedCounters != nullptr) {
        SharedCounters->AtMain = SharedCounters->All + 1;
    }
    return ProgramMain(argc, argv, environment);
}

bool IsFailing() {
    if (SharedCounters == nullptr || !IsWindowOpen) {
        return false;
    }
    const unsigned long number = ++SharedCounters->All;
    const bool isFailing = number == FailingNumber || (IsLasting && number > FailingNumber);
    if (isFailing) {
        errno = ENOMEM;
    }
    return isFailing;
}

}  // namespace

extern "C" {

MORLA_API void* malloc(std::size_t size) {
    return IsFailing() ? nullptr : __libc_malloc(size);
}

MORLA_API void* calloc(std::size_t nmemb, std::size_t size) {
    return IsFailing() ? nullptr : __libc_calloc(nmemb, size);
}

MORLA_API void* realloc(void* ptr, std::size_t size) {
    return IsFailing() ? nullptr : __libc_realloc(ptr, size);
}

MORLA_API void* memalign(std::size_t alignment, std::size_t size) {
    return IsFailing() ? nullptr : __libc_memalign(alignment, size);
}

MORLA_API void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return memalign(alignment, size);
}

MORLA_API int posix_memalign(void** memptr, std::size_t alignment, std::size_t size) {
    void* const made = memalign(alignment, size);
    if (made == nullptr) {
        return ENOMEM;
    }
    *memptr = made;
    return 0;
}

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): what the C library
// begins a program with
MORLA_API int __libc_start_main(Main main, int argc, char** argv, Main init, void (*fini)(),
                                void (*loaderFini)(), void* stackEnd);
MORLA_API int __libc_start_main(Main main, int argc, char** argv, Main init, void (*fini)(),
                                void (*loaderFini)(), void* stackEnd) {
    ProgramMain = main;
    return reinterpret_cast<decltype(&__libc_start_main)>(dlsym(RTLD_NEXT, "__libc_start_main"))(
        BeginMain, argc, argv, init, fini, loaderFini, stackEnd);
}

// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

MORLA_API int prctl(int option, ...) {
    va_list list;
    va_start(list, option);
    unsigned long arguments[4];
    for (unsigned long& argument : arguments) {
        argument = va_arg(list, unsigned long);
    }
    va_end(list);
    if (option == kFaultWindow) {
        IsWindowOpen = arguments[0] != 0;
    }
    return static_cast<int>(
        syscall(SYS_prctl, option, arguments[0], arguments[1], arguments[2], arguments[3]));
}
}

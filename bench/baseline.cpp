// A file of its own, so that no call is inlined and nothing is known about its arguments.
#include "bench/baseline.h"

#include <cstdarg>
#include <cstdio>
#include <ctime>

#include "bench/measure.h"

namespace bench {

void DropAbove(const std::atomic<unsigned int>& highest, unsigned int level, const char* format,
               ...) {
    if (level <= highest.load(std::memory_order_relaxed)) {
        Keep(format);
    }
}

void DropAboveWithTime(const std::atomic<unsigned int>& highest, unsigned int level,
                       const char* format, ...) {
    Keep(std::time(nullptr));
    if (level <= highest.load(std::memory_order_relaxed)) {
        Keep(format);
    }
}

int FormatMessage(char* buffer, std::size_t size, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(buffer, size, format, args);
    va_end(args);
    Keep(buffer);
    return length;
}

int FormatMessageWithClock(char* buffer, std::size_t size, const char* format, ...) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    Keep(now.tv_nsec);
    va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(buffer, size, format, args);
    va_end(args);
    Keep(buffer);
    return length;
}

}  // namespace bench

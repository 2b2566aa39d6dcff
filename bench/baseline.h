// The bare work that comparisons hold the trace object against.
#pragma once

#include <atomic>
#include <cstddef>

namespace bench {

// A variadic function that reads one atomic and returns.
__attribute__((format(printf, 3, 4))) void DropAbove(const std::atomic<unsigned int>& highest,
                                                     unsigned int level, const char* format, ...);
// The same, and a look at the time in between.
__attribute__((format(printf, 3, 4))) void DropAboveWithTime(
    const std::atomic<unsigned int>& highest, unsigned int level, const char* format, ...);

// Formats a message with vsnprintf into `buffer`; with a look at the clock before.
__attribute__((format(printf, 3, 4))) int FormatMessage(char* buffer, std::size_t size,
                                                        const char* format, ...);
__attribute__((format(printf, 3, 4))) int FormatMessageWithClock(char* buffer, std::size_t size,
                                                                 const char* format, ...);

}  // namespace bench

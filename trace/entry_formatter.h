// Formats the message of a trace entry: vsnprintf, faster where nearly all calls are.
#pragma once

#include <cstdarg>
#include <cstddef>

namespace trace {

// What vsnprintf(buffer, size, format, args) writes and returns, to the byte; `size` is above 0.
// The format is not null. `args` is spent afterwards.
int FormatMessage(char* buffer, std::size_t size, const char* format, va_list args)
    __attribute__((format(printf, 3, 0)));

}  // namespace trace

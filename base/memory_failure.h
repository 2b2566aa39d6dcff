// Turns the exception of memory that ran out into a result.
#pragma once

#include <new>

// What `operation` returns, or false where it ran out of memory.
template <typename Operation>
[[nodiscard]] bool FalseWithoutMemory(Operation operation) {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return false;
    }
}

// Holds off thread cancellation for a scope.
#pragma once

#include <pthread.h>

// For destructors and other code that must not be unwound half-way: a cancellation that passes a
// destructor or a noexcept function ends the process. A request made meanwhile takes effect later.
class CCancellationHold {
public:
    CCancellationHold() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_Previous); }
    ~CCancellationHold() { pthread_setcancelstate(m_Previous, nullptr); }
    CCancellationHold(const CCancellationHold&) = delete;
    CCancellationHold& operator=(const CCancellationHold&) = delete;

private:
    int m_Previous = PTHREAD_CANCEL_ENABLE;
};

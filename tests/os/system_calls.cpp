#include "tests/os/system_calls.h"

#include <pthread.h>
#include <sched.h>

#include <cerrno>

// The linker gives these names.
extern "C" {
int __real_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex);
int __real_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  const timespec* deadline);
int __wrap_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex);
int __wrap_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  const timespec* deadline);
int __wrap_nanosleep(const timespec* request, timespec* remaining);
}

namespace {

void Count(std::atomic<int>& counter) {
    ++counter;
    counter.notify_all();
}

bool IsInterrupted() {
    int left = system_calls::InterruptedWaits;
    while (left > 0 && !system_calls::InterruptedWaits.compare_exchange_weak(left, left - 1)) {
    }
    return left > 0;
}

}  // namespace

int __wrap_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    if (IsInterrupted()) {
        return EINTR;
    }
    Count(system_calls::ConditionWaits);
    return __real_pthread_cond_wait(condition, mutex);
}

int __wrap_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  const timespec* deadline) {
    if (system_calls::TimesOutAtOnce) {
        system_calls::LastDeadline = *deadline;
        return ETIMEDOUT;
    }
    if (IsInterrupted()) {
        return EINTR;
    }
    Count(system_calls::ConditionWaits);
    return __real_pthread_cond_timedwait(condition, mutex, deadline);
}

int __wrap_nanosleep(const timespec* request, timespec* /*remaining*/) {
    system_calls::LastSleepSeconds = request->tv_nsec == 0 ? request->tv_sec : -1;
    Count(system_calls::Sleeps);
    sched_yield();
    return 0;
}

#include "tests/support/poll_for.h"

#include <poll.h>

#include <algorithm>

bool IsReadableWithin(int fd, std::chrono::milliseconds limit) {
    using std::chrono::milliseconds;
    using std::chrono::steady_clock;
    const steady_clock::time_point end = steady_clock::now() + limit;
    for (;;) {
        const auto left = std::chrono::ceil<milliseconds>(end - steady_clock::now());
        pollfd entry{fd, POLLIN, 0};
        const int found =
            poll(&entry, 1, static_cast<int>(std::max(left, milliseconds(0)).count()));
        if (found > 0) {
            return true;
        }
        if (left.count() <= 0) {
            return false;
        }
    }
}

#include "tests/support/wait_for.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <filesystem>

#include "base/unique_fd.h"
#include "tests/support/files.h"

bool WaitUntil(const std::function<bool()>& condition, const std::string& folder,
               std::chrono::milliseconds limit) {
    using std::chrono::steady_clock;
    constexpr int kLookAgainMs = 5;
    const steady_clock::time_point end = steady_clock::now() + limit;
    const CUniqueFd changes(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    // Where the folder is missing or watches are used up, looking again does it alone.
    (void)inotify_add_watch(changes.Get(), folder.c_str(),
                            IN_MODIFY | IN_CREATE | IN_DELETE | IN_MOVED_TO);
    while (!condition()) {
        if (steady_clock::now() >= end) {
            return false;
        }
        pollfd entry{changes.Get(), POLLIN, 0};
        alignas(inotify_event) char events[4096];
        if (poll(&entry, 1, kLookAgainMs) > 0) {
            (void)!read(changes.Get(), events, sizeof events);
        }
    }
    return true;
}

bool WaitForText(const std::string& path, const std::string& text,
                 std::chrono::milliseconds limit) {
    const auto containsIt = [&] {
        return ReadFile(path).find(text) != std::string::npos;
    };
    return WaitUntil(containsIt, std::filesystem::path(path).parent_path(), limit);
}

#include "tests/support/wait_for.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <filesystem>

#include "base/unique_fd.h"
#include "tests/support/files.h"
#include "tests/support/poll_for.h"

namespace {

void Drain(int fd) {
    alignas(inotify_event) char events[4096];
    while (read(fd, events, sizeof events) > 0) {
    }
}

}  // namespace

bool WaitUntil(const std::function<bool()>& condition, const std::string& folder,
               std::chrono::milliseconds limit) {
    using std::chrono::steady_clock;
    constexpr std::chrono::milliseconds kLookAgain{5};
    const steady_clock::time_point end = steady_clock::now() + limit;
    const CUniqueFd changes(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    // Where the folder is missing or watches are used up, looking again does it alone.
    (void)inotify_add_watch(changes.Get(), folder.c_str(),
                            IN_MODIFY | IN_CREATE | IN_DELETE | IN_MOVED_TO);
    while (!condition()) {
        if (steady_clock::now() >= end) {
            return false;
        }
        if (IsReadableWithin(changes.Get(), kLookAgain)) {
            Drain(changes.Get());
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

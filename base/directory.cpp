#include "base/directory.h"

#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string_view>

namespace {

struct DirectoryCloser {
    void operator()(DIR* directory) const { (void)closedir(directory); }
};

}  // namespace

// Not by the standard library's iterator: that ends the process where memory runs out.
int ListDirectory(const std::string& path, std::vector<std::string>& names) {
    names.clear();
    const std::unique_ptr<DIR, DirectoryCloser> directory(opendir(path.c_str()));
    if (directory == nullptr) {
        return errno;
    }
    for (;;) {
        errno = 0;
        // NOLINTNEXTLINE(concurrency-mt-unsafe): the stream is this call's own
        const dirent* const entry = readdir(directory.get());
        if (entry == nullptr) {
            break;
        }
        const std::string_view name = static_cast<const char*>(entry->d_name);
        if (name != "." && name != "..") {
            names.emplace_back(name);
        }
    }
    if (const int error = errno; error != 0) {
        names.clear();
        return error;
    }
    std::sort(names.begin(), names.end());
    return 0;
}

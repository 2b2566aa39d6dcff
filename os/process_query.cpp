// CProcess: names, paths and search through /proc, and the working directory.
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string_view>
#include <utility>

#include "base/file_io.h"
#include "base/memory_failure.h"
#include "base/paths.h"
#include "base/unique_fd.h"
#include "os/proc_text.h"
#include "os/process.h"

namespace {

constexpr std::size_t kPathMax = 4096;                          // bytes, as the kernel has it
constexpr std::size_t kLineMax = std::size_t{8} * 1024 * 1024;  // above any argument list

struct DirectoryCloser {
    void operator()(DIR* directory) const { (void)closedir(directory); }
};

std::string ProcPath(int pid, std::string_view file) {
    std::string path(paths::kProc);
    return path.append("/").append(std::to_string(pid)).append("/").append(file);
}

// Adds to `line` until its end, the end of the file, an error or the limit.
void ReadFirstLine(int fd, std::string& line) {
    char block[kPathMax];
    while (line.size() < kLineMax) {
        const ReadResult got = ReadOnce(fd, block, std::min(sizeof block, kLineMax - line.size()));
        if (got.Bytes == 0) {
            return;
        }
        const std::string_view text(block, got.Bytes);
        const std::string_view part = os::FirstLine(text);
        line.append(part);
        if (part.size() < text.size()) {
            return;
        }
    }
}

}  // namespace

int CProcess::GetProcessHandleCount(unsigned int /*pid*/, unsigned int& count) {
    count = 1;
    return 0;
}

bool CProcess::FindProcess(unsigned int& pid, const char* name) {
    pid = kNone;
    const std::unique_ptr<DIR, DirectoryCloser> directory(opendir(paths::kProc));
    if (directory == nullptr || name == nullptr) {
        return false;
    }
    std::string found;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the stream is this call's own
    while (const dirent* const entry = readdir(directory.get())) {
        const int number = os::ParseProcessNumber(static_cast<const char*>(entry->d_name));
        if (number != 0 && get_proc_file(number, "comm", found) && found == name) {
            pid = static_cast<unsigned int>(number);
            return true;
        }
    }
    return false;
}

bool CProcess::GetProcessName(std::string& name, unsigned int pid) {
    return get_proc_file(static_cast<int>(pid), "comm", name);
}

bool CProcess::GetProcessPath(std::string& path, unsigned int pid) {
    return FalseWithoutMemory([&] {
        char target[kPathMax];
        const std::string link = ProcPath(static_cast<int>(pid), "exe");
        const ssize_t length = readlink(link.c_str(), target, sizeof target);
        if (length < 0) {
            return false;
        }
        path.assign(target, static_cast<std::size_t>(length));
        return true;
    });
}

bool CProcess::GetProcessInfo(unsigned int pid, std::string& name, std::string& path) {
    const bool hasName = GetProcessName(name, pid);
    const bool hasPath = GetProcessPath(path, pid);
    return hasName && hasPath;
}

bool CProcess::get_proc_file(int pid, const char* file, std::string& out) {
    if (file == nullptr) {
        return false;
    }
    return FalseWithoutMemory([&] {
        const CUniqueFd fd(open(ProcPath(pid, file).c_str(), O_RDONLY | O_CLOEXEC));
        if (!fd.IsValid()) {
            return false;
        }
        out.clear();
        ReadFirstLine(fd.Get(), out);
        return true;
    });
}

bool CProcess::GetCurrentDir(std::string& dir) {
    return FalseWithoutMemory([&] {
        std::string current = get_current_directory();
        if (current.empty()) {
            return false;
        }
        dir = std::move(current);
        return true;
    });
}

bool CProcess::SetCurrentDir(const char* dir) {
    return dir != nullptr && *dir != '\0' && chdir(dir) == 0;
}

std::string CProcess::get_current_directory() {
    char buffer[kPathMax]{};
    return getcwd(static_cast<char*>(buffer), sizeof buffer) != nullptr
               ? std::string(static_cast<const char*>(buffer))
               : std::string();
}

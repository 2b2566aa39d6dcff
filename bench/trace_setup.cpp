#include "bench/trace_setup.h"

#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "base/paths.h"

namespace bench {

namespace fs = std::filesystem;

std::string LogPath(const TraceSettings& settings) {
    return std::string(paths::kTraceDirectory) + "/log." + settings.Name;
}

std::string RingPath(const TraceSettings& settings) {
    return LogPath(settings) + "_a";
}

std::unique_ptr<CDebug> StartTrace(const TraceSettings& settings) {
    const fs::path configuration = paths::kTraceConfigDirectory;
    fs::create_directories(configuration);
    fs::create_directories(paths::kTraceDirectory);
    const fs::path file = configuration / (std::string(settings.Name) + ".ini");
    std::ofstream(file) << '[' << settings.Name << "]\nFileDebugLevel=" << settings.Level
                        << "\nRingBufferSizeFactor=" << (settings.RingMebibytes > 0)
                        << "\nRingBufferSizeWeight=" << settings.RingMebibytes
                        << "\nMemoryTracesFlag=" << settings.HasMemoryColumn << "\n[EndOfFile]\n";
    setenv("HX_LOG_DYNAMIC_UPDATE", std::to_string(settings.UpdateSeconds).c_str(), 1);
    auto debug = std::make_unique<CDebug>(settings.Name);
    debug->SetApplInitDone();
    fs::remove(file);
    fs::remove(LogPath(settings) + "_i");
    if (settings.RingMebibytes > 0 && !debug->IsTracingActive()) {
        throw std::runtime_error("the ring could not be made");
    }
    return debug;
}

// The calls are direct, as they are on the global object, and not through the virtual slot.
void PrintEntries(CDebug& debug, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        debug.CDebug::Print(1, "FAN %d: %u rpm in zone %s", static_cast<int>(i & 7U), 4711U,
                            "rear");
    }
}

void PrintEntriesAlways(CDebug& debug, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        debug.CDebug::PrintAlways("FAN %d: %u rpm in zone %s", static_cast<int>(i & 7U), 4711U,
                                  "rear");
    }
}

namespace {

std::size_t CountMarkedLines(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::size_t count = 0;
    for (std::string line; std::getline(file, line);) {
        // A line that was not written to its end does not count.
        count +=
            static_cast<std::size_t>(line.find(kEntryMark) != std::string::npos && !file.eof());
    }
    return count;
}

int StatusOfChild(const std::function<void()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        work();
        _exit(EXIT_FAILURE);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        throw std::runtime_error("no child process");
    }
    return status;
}

}  // namespace

std::size_t LinesAfterKill(const std::function<void()>& writeAll, const std::string& prefix) {
    const int status = StatusOfChild([&] {
        writeAll();
        (void)raise(SIGKILL);
    });
    if (!WIFSIGNALED(status) || WTERMSIG(status) != SIGKILL) {
        throw std::runtime_error("the writer was not killed");
    }
    std::size_t count = 0;
    const fs::path first = prefix;
    for (const auto& entry : fs::directory_iterator(first.parent_path())) {
        // A link to a file would count its lines twice.
        if (!entry.is_symlink() &&
            entry.path().filename().string().starts_with(first.filename().string())) {
            count += CountMarkedLines(entry.path());
            fs::remove(entry.path());
        }
    }
    return count;
}

std::string Survival(std::size_t ours, std::size_t peer) {
    const auto text = [](std::size_t lines) {
        return lines == kSurvivalEntries ? std::string("yes") : "no, " + std::to_string(lines);
    };
    return text(ours) + " / " + text(peer);
}

void RequireNoSystemCall(const std::function<void()>& work, const char* what) {
    const int status = StatusOfChild([&] {
        if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT) == 0) {
            work();
            syscall(SYS_exit, EXIT_SUCCESS);
        }
    });
    if (!WIFEXITED(status) || WEXITSTATUS(status) != EXIT_SUCCESS) {
        throw std::runtime_error(std::string(what) + ": a system call was taken");
    }
}

}  // namespace bench

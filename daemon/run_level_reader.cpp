#include "daemon/run_level_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <utmp.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <thread>

#include "base/file_io.h"
#include "base/file_ptr.h"
#include "base/paths.h"
#include "base/unique_fd.h"
#include "daemon/daemon_tag.h"
#include "daemon/guarded_trace.h"
#include "os/run_level.h"

using daemon_names::kTag;

namespace {

constexpr int kOpenAttempts = 3;
constexpr std::chrono::seconds kRetryTime(1);
constexpr std::size_t kFileLimit = 4096;       // bytes read of the run-level file
constexpr std::size_t kProgramLineLimit = 64;  // bytes

// Shows where the daemon runs; empty when HX_NICKNAME does not tell.
std::string_view ReadNickname() {
    const char* const nickname = std::getenv("HX_NICKNAME");
    if (nickname == nullptr || *nickname == '\0') {
        Debug.PrintAlways(
            0, "%s-MAIN: cannot identify OS (from HX_NICKNAME) on which we are running\n", kTag);
        return {};
    }
    TraceIfActive(1, "%s-MAIN: we are runing on OS \"%s\"\n", kTag, nickname);
    return nickname;
}

// By stat alone: a file that cannot be run counts, a link to nowhere does not.
bool HasSystemctl() {
    struct stat status {};
    if (stat(paths::kSystemctl, &status) != 0) {
        return false;
    }
    TraceIfActive(1, "%s-MAIN: %s detected on this OS\n", kTag, paths::kSystemctl);
    return true;
}

CUniqueFd OpenRunLevelFile() {
    for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
        // Not blocking: a FIFO of that name must not hold up the stop. It holds no number.
        CUniqueFd file(open(paths::kRunLevelFile, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
        if (file.IsValid()) {
            return file;
        }
        Debug.PrintAlways(0, "%s-MAIN: cannot open %s (try %d)\n", kTag, paths::kRunLevelFile,
                          attempt);
        std::this_thread::sleep_for(kRetryTime);
    }
    return {};
}

std::int32_t RunLevelFromFile() {
    const CUniqueFd file = OpenRunLevelFile();
    if (!file.IsValid()) {
        Debug.PrintAlways(0, "%s-MAIN: this seems to be a simple stop of %s (not OS shutdown)\n",
                          kTag, kTag);
        return kRunLevelSimpleStop;
    }
    char text[kFileLimit];
    const ReadResult got = ReadFully(file.Get(), text, sizeof text);
    const auto number = ParseRunLevelText({text, got.Bytes});
    if (!number) {
        return kRunLevelUnknown;
    }
    TraceIfActive(1, "%s-MAIN: OS shutdown reguired: RunLevel = %d from %s\n", kTag, *number,
                  paths::kRunLevelFile);
    return IsOsShutdown(*number) ? *number : kRunLevelUnknown;
}

// NOLINTBEGIN(concurrency-mt-unsafe): only the main thread reads utmp
std::int32_t RunLevelFromUtmp() {
    setutent();
    const utmp* record = getutent();
    while (record != nullptr && record->ut_type != RUN_LVL) {
        record = getutent();
    }
    const std::int32_t runLevel =
        record != nullptr ? RunLevelOfUtmpPid(record->ut_pid) : kRunLevelUnknown;
    endutent();
    return runLevel;
}
// NOLINTEND(concurrency-mt-unsafe)

std::int32_t RunLevelFromProgram() {
    // NOLINTNEXTLINE(cert-env33-c): a fixed command
    const CPipePtr pipe(popen(paths::kRunLevelProgram, "re"));
    char line[kProgramLineLimit + 1];
    if (pipe == nullptr || std::fgets(line, sizeof line, pipe.get()) == nullptr) {
        return kRunLevelUnknown;
    }
    return RunLevelOfProgramLine(line);
}

std::int32_t RunLevelOfOlderOs() {
    TraceIfActive(1, "%s-MAIN: try to indentify runlevel on older OS\n", kTag);
    const std::int32_t runLevel = RunLevelFromUtmp();
    return runLevel != kRunLevelUnknown ? runLevel : RunLevelFromProgram();
}

}  // namespace

std::int32_t FindRunLevel() {
    const std::string_view nickname = ReadNickname();
    const bool isFileUsed = HasSystemctl() || HasRunLevelFile(nickname);
    const std::int32_t runLevel = isFileUsed ? RunLevelFromFile() : RunLevelOfOlderOs();
    Debug.PrintAlways(0, "%s-MAIN: Current RunLevel = %d\n", kTag, runLevel);
    return runLevel;
}

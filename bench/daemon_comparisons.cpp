// The whole daemon: what its start costs, and what it holds when it is idle.
#include <fcntl.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "base/kernel_file.h"
#include "base/paths.h"
#include "bench/bare_file.h"
#include "bench/comparison.h"
#include "bench/program.h"

namespace bench {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kRingSize = 1U << 20U;
constexpr std::size_t kInitRingSize = 4 * kRingSize;

std::string LogFile() {
    return std::string(paths::kTraceDirectory) + "/log.zentd";
}

// A daemon in the foreground that has come to wait for signals.
class CDaemon {
public:
    CDaemon() : m_Program((Prepare(), std::vector<std::string>{MORLA_EXECUTABLE, "-n"})) {
        m_Program.WaitFor([] {
            std::ostringstream text;
            text << std::ifstream(LogFile()).rdbuf();
            return text.str().find("Waiting for signals...") != std::string::npos;
        });
    }
    [[nodiscard]] pid_t Pid() const { return m_Program.Pid(); }

private:
    static void Prepare() {
        fs::remove_all(paths::kTraceDirectory);
        fs::create_directories(paths::kTraceDirectory);
        fs::create_directories(paths::kTraceConfigDirectory);
        fs::remove(paths::kPidFile);
        fs::remove(std::string(paths::kInstanceLock) + ".lock");
        std::ofstream(fs::path(paths::kTraceConfigDirectory) / "zentd.ini")
            << "[zentd]\nFileDebugLevel=3\nRingBufferSizeFactor=1\nRingBufferSizeWeight=1\n"
               "MemoryTracesFlag=0\n[EndOfFile]\n";
        setenv("LD_LIBRARY_PATH", MORLA_SWITCH_FOLDER, 1);
    }
    CRunningProgram m_Program;
};

// The processor time that the daemon took until it waits for signals. Its pause of a second and the
// compression of the start-up ring, which another process does, are not in it; exec, the loader and
// the switch are.
double StartDaemon() {
    const CDaemon daemon;
    clockid_t clock = 0;
    timespec time{};
    if (clock_getcpuclockid(daemon.Pid(), &clock) != 0 || clock_gettime(clock, &time) != 0) {
        throw std::runtime_error("the daemon's processor time cannot be read");
    }
    return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

double WriteRingFiles() {
    const std::string line(1'024, '_');
    const double start = Now(Clock::kThread);
    for (const std::size_t size : {kInitRingSize, kRingSize}) {
        const std::string path = std::string(paths::kTraceDirectory) + "/bare";
        CBareFile file(path);
        for (std::size_t i = 0; i < size / line.size(); ++i) {
            file.Write(line, kInitRingSize);
        }
    }
    return Now(Clock::kThread) - start;
}

// KiB of private memory, without the mappings whose path contains one of the names.
double PrivateMemory(pid_t pid, const std::vector<std::string>& without) {
    std::string smaps;
    const std::string process = std::string(paths::kProc) + '/' + std::to_string(pid);
    if (ReadKernelFile((process + "/smaps").c_str(), smaps) != 0) {
        throw std::runtime_error("the memory map cannot be read");
    }
    std::istringstream lines(smaps);
    double sum = 0;
    bool isCounted = false;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string key;
        double value = 0;
        words >> key >> value;
        if (!key.ends_with(':')) {
            isCounted = true;
            for (const std::string& name : without) {
                isCounted = isCounted && line.find(name) == std::string::npos;
            }
        } else if (isCounted && key.starts_with("Private_") && key != "Private_Hugetlb:") {
            sum += value;
        }
    }
    return sum;
}

double MemoryOfDaemon() {
    const CDaemon daemon;
    return PrivateMemory(daemon.Pid(), {"log.zentd", "libswitch"});
}

double MemoryOfEmptyProgram() {
    const CRunningProgram program({MORLA_EMPTY_PROGRAM});
    const std::string process = std::string(paths::kProc) + '/' + std::to_string(program.Pid());
    program.WaitFor([&] {
        std::string wait;
        (void)ReadKernelFile((process + "/syscall").c_str(), wait);
        return wait.starts_with("34 ");  // pause
    });
    return PrivateMemory(program.Pid(), {});
}

constexpr int kPairs = 9;  // each takes the second that the daemon pauses

}  // namespace

Comparisons DaemonComparisons() {
    return {
        {"15", "daemon start", "daemon: start, ring of 1 MiB", "bare writes of the ring files", 1.5,
         "ns",
         [](const Settings&) {
             return Outcome{ComparePairs(StartDaemon, WriteRingFiles, kPairs)};
         }},
        {"16", "daemon memory", "daemon: private memory, idle", "an empty C++ program", 1.6, "KiB",
         [](const Settings&) {
             return Outcome{ComparePairs(MemoryOfDaemon, MemoryOfEmptyProgram, kPairs)};
         }},
    };
}

}  // namespace bench

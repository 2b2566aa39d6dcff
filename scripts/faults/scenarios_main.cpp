// Pieces of the product's work under one fault: fault_scenarios NAME, in a private root, under the
// injector or with the allocation faults preloaded. Prints each breach of what must hold, and what
// became of the work. Exits with 1 when there was a breach.
//
// fault_scenarios NAME behind-kill: looks at what a killed one left, and goes on from there.
// fault_scenarios writer COUNT SEED: so many processes that write entries are killed.
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "scripts/faults/scenario.h"
#include "scripts/faults/window.h"
#include "tests/support/private_root_guard.h"

namespace {

namespace fs = std::filesystem;

constexpr Scenario kScenarios[] = {
    {"registry-save", RunRegistrySave},
    {"registry-read", RunRegistryRead},
    {"ini-set", RunIniSet},
    {"ini-new-section", RunIniNewSection},
    {"ini-delete", RunIniDelete},
    {"ini-create", RunIniCreate},
    {"ring", RunRing},
    {"update", RunDynamicUpdate},
    {"log", RunLogFile},
    {"lock", RunLock},
    {"lock-stale", RunStaleLock},
    {"process", RunProcess},
    {"process-queries", RunProcessQueries},
};

// NOLINTBEGIN(cppcoreguidelines-avoid-non-const-global-variables): of one run, which is one process
int Breaches = 0;
bool IsBehindKill = false;
std::string LastOutcome = "done";
// NOLINTEND(cppcoreguidelines-avoid-non-const-global-variables)

}  // namespace

void Report(std::string_view breach) {
    ++Breaches;
    (void)std::printf("breach: %.*s\n", static_cast<int>(breach.size()), breach.data());
}

void Demand(bool isTrue, std::string_view breach) {
    if (!isTrue) {
        Report(breach);
    }
}

bool IsLookBehindKill() {
    return IsBehindKill;
}

void Outcome(std::string_view word) {
    LastOutcome = word;
}

std::set<std::string> HeldThings() {
    std::set<std::string> things;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        const std::string target = fs::read_symlink(entry.path(), error).string();
        // Not the listing's own, nor the C library's connection to the system log.
        if (!error && target.find("/fd") == std::string::npos && !target.starts_with("socket:")) {
            things.insert("descriptor " + entry.path().filename().string() + " " + target);
        }
    }
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find(" rw-s ") != std::string::npos) {
            things.insert("mapping " + line.substr(line.find_last_of(' ') + 1));
        }
    }
    things.insert("directory " + fs::current_path().string());
    sigset_t mask;
    (void)pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    for (int signal = 1; signal < NSIG; ++signal) {
        if (sigismember(&mask, signal) == 1) {
            things.insert("blocked signal " + std::to_string(signal));
        }
    }
    int status = 0;
    if (const pid_t child = waitpid(-1, &status, WNOHANG); child > 0) {
        things.insert("zombie");
    }
    return things;
}

void UnderFaults(const std::function<void()>& work) {
    try {
        OpenFaultWindow();
        work();
        CloseFaultWindow();
    } catch (const std::exception& failure) {
        CloseFaultWindow();
        Report(std::string("an exception came out: ") + failure.what());
    }
}

void UnderFaultsHoldingNothing(const std::function<void()>& work) {
    const std::set<std::string> before = HeldThings();
    UnderFaults(work);
    const std::set<std::string> behind = HeldThings();
    for (const std::string& thing : behind) {
        Demand(before.contains(thing), "left behind: " + thing);
    }
    for (const std::string& thing : before) {
        Demand(behind.contains(thing), "lost: " + thing);
    }
}

std::string ContentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool IsThere(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

void Put(const std::string& path, std::string_view text) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << text << std::flush;
}

int main(int argc, char** argv) {
    RequirePrivateRoot();
    const std::string_view name = argc > 1 ? argv[1] : "";
    if (name == "writer" && argc == 4) {
        RunWriter(static_cast<unsigned int>(std::strtoul(argv[2], nullptr, 10)),
                  static_cast<unsigned int>(std::strtoul(argv[3], nullptr, 10)));
        return Breaches == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    IsBehindKill = argc == 3 && std::string_view(argv[2]) == "behind-kill";
    for (const Scenario& scenario : kScenarios) {
        if (scenario.Name == name) {
            scenario.Run();
            (void)std::printf("outcome: %s\n", LastOutcome.c_str());
            return Breaches == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
        }
    }
    for (const Scenario& scenario : kScenarios) {
        (void)std::printf("%.*s\n", static_cast<int>(scenario.Name.size()), scenario.Name.data());
    }
    return 64;
}

// Starting a program from a process that holds much memory and may open many files.
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>

#include "base/file_mapping.h"
#include "bench/comparison.h"
#include "bench/program.h"
#include "os/process.h"

namespace bench {

namespace {

constexpr std::size_t kResidentBytes = 1UL << 30U;
constexpr char kProgram[] = "/bin/true";

// Raises the limit of open descriptors as far as the system allows, while it lives.
class CDescriptorLimit {
public:
    explicit CDescriptorLimit(rlim_t wanted) {
        getrlimit(RLIMIT_NOFILE, &m_Before);
        const rlimit all{wanted, std::max(wanted, m_Before.rlim_max)};
        if (setrlimit(RLIMIT_NOFILE, &all) != 0) {
            const rlimit allowed{m_Before.rlim_max, m_Before.rlim_max};
            (void)setrlimit(RLIMIT_NOFILE, &allowed);
        }
    }
    ~CDescriptorLimit() { (void)setrlimit(RLIMIT_NOFILE, &m_Before); }
    CDescriptorLimit(const CDescriptorLimit&) = delete;
    CDescriptorLimit& operator=(const CDescriptorLimit&) = delete;

private:
    rlimit m_Before{};
};

Outcome RunTrue(const Settings& settings) {
    const CFileMapping memory(
        mmap(nullptr, kResidentBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0),
        kResidentBytes);
    if (memory.Data() == nullptr) {
        throw std::runtime_error("no memory");
    }
    std::memset(memory.Data(), 1, kResidentBytes);
    const auto ours = [](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            if (!CProcess::ExecuteCmd(kProgram, nullptr, false, false)) {
                throw std::runtime_error("the program failed");
            }
        }
    };
    const auto peer = [](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            RunProgram({kProgram});
        }
    };
    return {ComparePairs(TimePerCall(ours, Clock::kWall), TimePerCall(peer, Clock::kWall),
                         settings.Pairs() * 3)};
}

Outcome RunTrueWithManyDescriptors(const Settings& settings) {
    constexpr rlim_t kWanted = 1'000'000;
    const CDescriptorLimit raised(kWanted);
    Outcome outcome = RunTrue(settings);
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur < kWanted) {
        outcome.Note =
            "with " + std::to_string(limit.rlim_cur) + " descriptors: this system allows no more";
    }
    return outcome;
}

}  // namespace

Comparisons ProcessComparisons() {
    return {
        {"24", "process", "run /bin/true, 1 GiB resident", "posix_spawn, waitpid", 1.2, "ns",
         RunTrue},
        {"25", "process descriptors", "the same, 1,000,000 descriptors", "posix_spawn, waitpid",
         1.2, "ns", RunTrueWithManyDescriptors},
    };
}

}  // namespace bench

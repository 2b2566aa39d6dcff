// The bounds of the service's unit file let everything work. They are read from its text and
// applied as far as that goes without a service manager.
#include <linux/capability.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <map>
#include <sstream>

#include "tests/end_to_end/daemon_fixture.h"
#include "tests/support/files.h"
#include "tests/support/wait_for.h"

namespace {

using Filter = std::vector<sock_filter>;

// A call that is denied when all these bits are set in that argument.
struct Denial {
    const char* Setting;
    long Call;
    unsigned int Argument;
    unsigned int Bits;
};
constexpr Denial kDenials[] = {
    {"MemoryDenyWriteExecute=yes", SYS_mmap, 2, PROT_WRITE | PROT_EXEC},
    {"MemoryDenyWriteExecute=yes", SYS_mprotect, 2, PROT_EXEC},
    {"RestrictNamespaces=yes", SYS_unshare, 0, CLONE_NEWNS},
    {"RestrictNamespaces=yes", SYS_clone, 0, CLONE_NEWNS},
    {"RestrictSUIDSGID=yes", SYS_fchmod, 1, S_ISUID},
    {"RestrictSUIDSGID=yes", SYS_openat, 3, S_ISUID},
    {"RestrictSUIDSGID=yes", SYS_mkdir, 1, S_ISGID},
    {"RestrictRealtime=yes", SYS_sched_setscheduler, 1, SCHED_FIFO},
    {"LockPersonality=yes", SYS_personality, 0, 0},
};
const std::multimap<std::string, std::string> kReadOnly = {
    {"ProtectKernelTunables=yes", "/sys"},
    {"ProtectKernelTunables=yes", "/proc/sys"},
    {"ProtectControlGroups=yes", "/sys"},
};
const std::map<std::string, unsigned int> kNumbers = {
    {"CAP_SYS_RAWIO", CAP_SYS_RAWIO},
    {"CAP_SYS_ADMIN", CAP_SYS_ADMIN},
    {"CAP_DAC_READ_SEARCH", CAP_DAC_READ_SEARCH},
    {"AF_UNIX", AF_UNIX},
    {"AF_NETLINK", AF_NETLINK},
};
// Bounds that need the manager, or concern what the private root and these capabilities do not
// have.
constexpr std::string_view kOthers[] = {
    "PrivateMounts",           "ProtectClock",          "ProtectKernelLogs", "ProtectKernelModules",
    "SystemCallArchitectures", "SystemCallErrorNumber",
};

bool IsBound(std::string_view key) {
    constexpr std::string_view kBounds[] = {"Capability", "Lock",     "Memory", "NoNew", "Private",
                                            "Protect",    "Restrict", "Secure", "System"};
    const auto begins = [key](std::string_view word) {
        return key.starts_with(word);
    };
    return std::any_of(std::begin(kBounds), std::end(kBounds), begins) &&
           std::find(std::begin(kOthers), std::end(kOthers), key) == std::end(kOthers);
}

std::vector<std::string> Words(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

void Add(Filter& filter, unsigned int code, unsigned int value, int ifTrue = 0, int ifFalse = 0) {
    filter.push_back({static_cast<std::uint16_t>(code), static_cast<std::uint8_t>(ifTrue),
                      static_cast<std::uint8_t>(ifFalse), value});
}
void Load(Filter& filter, std::size_t offset) {
    Add(filter, BPF_LD | BPF_W | BPF_ABS, static_cast<unsigned int>(offset));
}
void Answer(Filter& filter, unsigned int action) {
    Add(filter, BPF_RET | BPF_K, action);
}
void SkipUnless(Filter& filter, unsigned int value, int count) {
    Add(filter, BPF_JMP | BPF_JEQ | BPF_K, value, 0, count);
}
std::size_t ArgumentOffset(unsigned int number) {
    return offsetof(seccomp_data, args) + number * sizeof(std::uint64_t);
}

class CUnitBounds {
public:
    CUnitBounds() {
        const std::string unit = ReadFile(MORLA_SYSTEMD "/zentd.service");
        std::istringstream lines(unit.substr(unit.find("[Service]\n") + 10));
        AddCalls("@default", true);
        for (std::string line; std::getline(lines, line) && !line.starts_with('[');) {
            if (!line.empty() && line[0] != '#' && !Take(line)) {
                Unknown.push_back(line);
            }
        }
    }

    // For a child process, before it executes the service.
    [[nodiscard]] bool Enter() const {
        umask(m_Umask);
        return MountReadOnly() && FilterArguments() && DropCapabilities() && FilterCalls();
    }

    // As the status of a process shows it.
    [[nodiscard]] std::string CapabilityMask() const {
        unsigned long mask = 0;
        for (const unsigned int number : m_Capabilities) {
            mask |= 1UL << number;
        }
        char text[32];
        (void)std::snprintf(text, sizeof text, "%016lx", mask);
        return text;
    }

    std::vector<std::string> Unknown;  // so that this test keeps up with the unit

private:
    // False when it is a bound that is not applied.
    bool Take(const std::string& line) {
        const std::string key = line.substr(0, line.find('='));
        const std::string value = line.substr(key.size() + 1);
        bool isKnown = !IsBound(key);
        for (const Denial& denial : kDenials) {
            if (line == denial.Setting) {
                m_Denials.push_back(denial);
                isKnown = true;
            }
        }
        for (auto [at, end] = kReadOnly.equal_range(line); at != end; ++at) {
            m_ReadOnly.push_back(at->second);
            isKnown = true;
        }
        if (key == "UMask") {
            m_Umask = static_cast<mode_t>(std::stoul(value, nullptr, 8));
        } else if (key == "CapabilityBoundingSet") {
            isKnown = TakeNumbers(value, m_Capabilities);
        } else if (key == "RestrictAddressFamilies") {
            isKnown = TakeNumbers(value, m_Families);
        } else if (key == "SystemCallFilter") {
            const bool isAllowed = value[0] != '~';
            const auto words = Words(value.substr(isAllowed ? 0 : 1));
            isKnown = std::all_of(words.begin(), words.end(), [&](const std::string& word) {
                return AddCalls(word, isAllowed);
            });
        }
        return isKnown;
    }

    static bool TakeNumbers(const std::string& value, std::vector<unsigned int>& numbers) {
        const std::vector<std::string> words = Words(value);
        for (const std::string& word : words) {
            const auto place = kNumbers.find(word);
            numbers.push_back(place != kNumbers.end() ? place->second : ~0U);
        }
        return std::find(numbers.begin(), numbers.end(), ~0U) == numbers.end();
    }

    // A name of the sets without a number here is another machine's.
    bool AddCalls(const std::string& name, bool isAllowed) {
        static const std::string sets = "\n" + ReadFile(MORLA_CALL_SETS);
        static const std::string numbers = ReadFile(MORLA_CALL_NUMBERS);
        if (name[0] == '@') {
            const std::size_t begin = sets.find("\n" + name + "\n");
            std::istringstream lines(begin == std::string::npos ? "" : sets.substr(begin + 1));
            std::string line;
            std::getline(lines, line);
            while (std::getline(lines, line) && line.starts_with("    ")) {
                (void)(line[4] == '#' || AddCalls(line.substr(4), isAllowed));
            }
            return begin != std::string::npos;
        }
        const std::string definition = "#define __NR_" + name + " ";
        const std::size_t begin = numbers.find(definition);
        if (begin != std::string::npos) {
            const long number = std::stol(numbers.substr(begin + definition.size()));
            std::erase(m_Calls, number);
            m_Calls.insert(m_Calls.end(), isAllowed ? 1 : 0, number);
        }
        return begin != std::string::npos;
    }

    [[nodiscard]] bool MountReadOnly() const {
        return unshare(CLONE_NEWNS) == 0 &&
               std::all_of(m_ReadOnly.begin(), m_ReadOnly.end(), [](const std::string& path) {
                   const char* const at = path.c_str();
                   constexpr unsigned long kReadOnlyBind = MS_BIND | MS_REMOUNT | MS_RDONLY;
                   return mount(at, at, nullptr, MS_BIND | MS_REC, nullptr) == 0 &&
                          mount(nullptr, at, nullptr, kReadOnlyBind, nullptr) == 0;
               });
    }

    // What root executes gets what is within the bounds, and no more.
    [[nodiscard]] bool DropCapabilities() const {
        for (unsigned int number = 0; number <= CAP_LAST_CAP; ++number) {
            const bool isKept = std::find(m_Capabilities.begin(), m_Capabilities.end(), number) !=
                                m_Capabilities.end();
            if (!isKept && prctl(PR_CAPBSET_DROP, number) != 0 && errno != EINVAL) {
                return false;
            }
        }
        return true;
    }

    static bool Install(Filter filter) {
        const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
        return syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &program) == 0;
    }

    [[nodiscard]] bool FilterArguments() const {
        Filter filter;
        for (const Denial& denial : m_Denials) {
            Load(filter, offsetof(seccomp_data, nr));
            SkipUnless(filter, static_cast<unsigned int>(denial.Call), 4);
            Load(filter, ArgumentOffset(denial.Argument));
            Add(filter, BPF_ALU | BPF_AND | BPF_K, denial.Bits);
            SkipUnless(filter, denial.Bits, 1);
            Answer(filter, SECCOMP_RET_ERRNO | EPERM);
        }
        Load(filter, offsetof(seccomp_data, nr));
        Add(filter, BPF_JMP | BPF_JEQ | BPF_K, SYS_socket, 1, 0);
        Answer(filter, SECCOMP_RET_ALLOW);
        Load(filter, ArgumentOffset(0));
        for (const unsigned int family : m_Families) {
            SkipUnless(filter, family, 1);
            Answer(filter, SECCOMP_RET_ALLOW);
        }
        Answer(filter, SECCOMP_RET_ERRNO | EAFNOSUPPORT);
        return Install(filter);
    }

    [[nodiscard]] bool FilterCalls() const {
        Filter filter;
        Load(filter, offsetof(seccomp_data, nr));
        for (const long call : m_Calls) {
            SkipUnless(filter, static_cast<unsigned int>(call), 1);
            Answer(filter, SECCOMP_RET_ALLOW);
        }
        Answer(filter, SECCOMP_RET_ERRNO | EPERM);
        return Install(filter);
    }

    mode_t m_Umask = 022;
    std::vector<unsigned int> m_Capabilities;
    std::vector<unsigned int> m_Families;
    std::vector<std::string> m_ReadOnly;
    std::vector<Denial> m_Denials;
    std::vector<long> m_Calls;
};

// 0 when the bounds are there.
int TryBounds() {
    const bool hasFamilies = socket(AF_INET, SOCK_DGRAM, 0) < 0 && errno == EAFNOSUPPORT;
    void* const map =
        mmap(nullptr, 4096, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    const bool hasMemory = map == MAP_FAILED && errno == EPERM;
    const bool hasCalls = chroot("/") < 0 && errno == EPERM;
    const bool hasMounts = mkdir("/sys/new", 0755) < 0 && errno == EROFS;
    return (hasFamilies ? 0 : 1) + (hasMemory ? 0 : 2) + (hasCalls ? 0 : 4) + (hasMounts ? 0 : 8);
}

}  // namespace

TEST_F(CDaemonTest, RunsWithinTheBoundsOfItsUnit) {
    const CUnitBounds bounds;
    ASSERT_EQ(bounds.Unknown, Lines());
    const pid_t probe = fork();
    if (probe == 0) {
        _exit(bounds.Enter() ? TryBounds() : 64);
    }
    ASSERT_EQ(WaitForEnd(probe), 0);

    for (const char* folder : {"/opt/modules", "/etc/quorvat", "/var/lib/morla"}) {
        MakeDirectories(folder);
    }
    WriteFile("/opt/modules/inventory.so", ReadFile(MORLA_INVENTORY_MODULE));
    WriteFile("/etc/quorvat/switch.ini", "[Modules]\nDirectory=/opt/modules\n");
    SetVariable("LD_LIBRARY_PATH", MORLA_REFERENCE_SWITCH_FOLDER);
    SetVariable("PATH", "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin");
    EXPECT_EQ(WaitForEnd(Spawn({}, [&] { (void)(bounds.Enter() || (_exit(64), false)); })), 0);
    const pid_t daemon = WaitForStart();
    EXPECT_TRUE(WaitForText("/var/lib/morla/inventory/last.json", "}"));
    const std::string status = ReadFile("/proc/" + std::to_string(daemon) + "/status");
    EXPECT_NE(status.find("\nCapEff:\t" + bounds.CapabilityMask() + "\n"), std::string::npos)
        << status;
    EXPECT_NE(status.find("\nSeccomp:\t2\n"), std::string::npos) << status;
    kill(daemon, SIGTERM);
    EXPECT_EQ(WaitForEnd(daemon), 0);
    EXPECT_TRUE(Exists(std::string(kInitRing) + ".gz"));
    EXPECT_FALSE(Exists(kInitRing));
    for (const char* path : {kActiveRing, kLogFile}) {
        const std::string text = ReadFile(path);
        EXPECT_EQ(text.find("not permitted"), std::string::npos) << text;
        EXPECT_NE(text.find(path == kLogFile ? "## EXIT PROCESS" : "inventory"), std::string::npos);
    }
}

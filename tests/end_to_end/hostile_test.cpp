// What a hostile neighbour can do; docs/security.md has a line for each.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <sstream>

#include "base/unique_fd.h"
#include "modules/inventory/stored_inventory.h"
#include "tests/daemon/recording_switch.h"
#include "tests/end_to_end/hostile_fixture.h"
#include "tests/support/files.h"
#include "tests/support/syslog_catcher.h"
#include "tests/support/wait_for.h"

namespace {

constexpr char kStarted[] = "StartAllModules";
constexpr char kNewTree[] = "/etc/quorvat/registry.new";

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

std::string ServiceSetting(const std::string& key) {
    const std::string unit = ReadFile(MORLA_SYSTEMD "/zentd.service");
    const std::size_t begin = unit.find("\n" + key + "=") + key.size() + 2;
    return unit.substr(begin, unit.find('\n', begin) - begin);
}

}  // namespace

TEST_F(CHostileTest, PlantedLockFileIsRefused) {
    MakeOpenFolder("/var/lock");
    for (const Plant plant : kPlants) {
        Put(plant, kLockFile);
        EXPECT_EQ(WaitForEnd(StartForeground()), 1) << Name(plant);
        EXPECT_TRUE(Contains(StandardError(), "already running!")) << Name(plant);
        ExpectNothingFollowed(kLockFile);
    }
    // Nor does a folder in the way of it hold anything up.
    Remove(kLockFile);
    MakeDirectories(kLockFile);
    EXPECT_EQ(WaitForEnd(StartForeground()), 1);
    Remove(kLockFile);
}

TEST_F(CHostileTest, PlantedLogRingAndPidFileAreRefusedAndTheDaemonRuns) {
    CSyslogCatcher syslog;
    std::size_t messages = 0;
    MakeOpenFolder("/var/log/quorvat");
    MakeOpenFolder("/run");
    for (const Plant plant : kPlants) {
        Remove(kSwitchCallsFile);
        Put(plant, kLogFile);
        Put(plant, kInitRing);
        Put(plant, kPidFile);
        const pid_t daemon = StartForeground();
        EXPECT_TRUE(WaitForText(kSwitchCallsFile, kStarted)) << Name(plant);
        Kill(daemon);
        for (const char* path : {kLogFile, kInitRing, kPidFile}) {
            ExpectNothingFollowed(path);
        }
        ASSERT_EQ(syslog.Lines().size(), ++messages) << Name(plant);
        EXPECT_TRUE(Contains(syslog.Lines().back(), "ERROR: Error during opening"));
    }
    chmod("/run", 0755);
}

// A link that root made leads where root wants it.
TEST_F(CHostileTest, LinkOfRootIsFollowed) {
    MakeDirectories("/srv/trace");
    ASSERT_EQ(symlink("../../../srv/trace/log", kLogFile), 0);
    const pid_t daemon = StartForeground();
    EXPECT_TRUE(WaitForText("/srv/trace/log", "morla Version="));
    Kill(daemon);
}

// Everything of the later start in one daemon: it takes a second until the ring is compressed.
TEST_F(CHostileTest, StartInHostileSurroundingsRunsAndStops) {
    const std::string traces = "/srv/a b;touch $IFS'`id`\"&\n";
    const std::string forged = "2024-01-01 00:00:00.000 [00000001] zentd         forged";
    MakeOpenFolder(traces);
    for (const char* path : {"/home/attacker", "/home/attacker/bin", "/opt/open"}) {
        MakeOpenFolder(path);
    }
    ASSERT_EQ(chown("/home/attacker/bin", kAttacker, kAttacker), 0);
    for (const char* program : {"/home/attacker/gzip", "/home/attacker/bin/gzip"}) {
        WriteFile(program, "#!/bin/sh\ntouch /root_files/nothing\n");
        chmod(program, 0755);
    }
    WriteFile("/opt/open/libswitch.so", ReadFile(MORLA_SWITCH_FOLDER "/libswitch.so"));
    chmod("/opt/open/libswitch.so", 0777);
    chmod("/etc/velmor/OskariaSuite/TraceConfig/zentd.ini", 0666);
    Put(Plant::kLinkToFile, traces + "/log.zentd_i.gz");
    Put(Plant::kLinkToFile, traces + "/log.zentd_a");
    SetVariable("LD_LIBRARY_PATH", "/opt/open:");
    SetVariable("PATH", ".::/home/attacker/bin:/usr/bin:/usr/local/nothing");
    SetVariable("IFS", "/.gz");
    SetVariable("TZ", kTarget);
    SetVariable("HX_LOG_RINGBUF_DIR", traces);
    SetVariable("HX_SYSTEM", "%n%s%n%999999999d");
    SetVariable("HX_OS", "one\n" + forged);
    SetVariable("HX_RELEASE", std::string(100'000, 'x'));
    SetVariable("HX_NICKNAME", "\x1b[2J\x07\x9b");
    const pid_t daemon = StartForeground([] { (void)!chdir("/home/attacker"); });
    ASSERT_TRUE(WaitForText(kSwitchCallsFile, kStarted));
    const std::string ring = ReadFile(traces + "/log.zentd_i");
    for (const char* text :
         {"switch library /opt/open: can be written by group or others",
          "trace configuration /etc/velmor/OskariaSuite/TraceConfig/zentd.ini: can be written",
          "\"/home/attacker/bin\" left out of PATH: not root's",
          "\"\" left out of PATH: not absolute", "\".\" left out of PATH: not absolute",
          "HX_SYSTEM=%n%s%n%999999999d\n"}) {
        EXPECT_TRUE(Contains(ring, text)) << text;
    }
    EXPECT_FALSE(Contains(ring, "/usr/bin\" left out"));
    ASSERT_TRUE(WaitForText(traces + "/log.zentd", "Waiting for signals..."));
    ExpectNothingFollowed(traces + "/log.zentd_a");
    EXPECT_TRUE(Contains(ReadFile(traces + "/log.zentd"), "log.zentd_a failed (errno=13;"));
    struct stat status {};
    ASSERT_EQ(lstat((traces + "/log.zentd_i.gz").c_str(), &status), 0);
    EXPECT_TRUE(S_ISREG(status.st_mode) && (status.st_mode & 0777U) == 0700) << status.st_mode;
    EXPECT_FALSE(Exists(traces + "/log.zentd_i"));

    // He cannot reach the process, nor what it keeps for itself.
    for (const int signal : {0, SIGHUP, SIGALRM, SIGTERM, SIGINT, SIGKILL, SIGSEGV}) {
        EXPECT_EQ(AsAttacker([&] { return kill(daemon, signal) == 0 ? 0 : errno; }), EPERM);
    }
    const std::string process = "/proc/" + std::to_string(daemon);
    for (const std::string& path :
         {process + "/environ", process + "/mem", traces + "/log.zentd_i.gz"}) {
        EXPECT_EQ(AsAttacker([&] { return open(path.c_str(), O_RDONLY) >= 0 ? 0 : errno; }), EACCES)
            << path;
    }
    // The run level as a FIFO does not hold up the stop.
    MakeDirectories("/usr/bin/systemctl");
    MakeOpenFolder("/etc/quorvat");
    Put(Plant::kFifo, kRunLevelFile);
    kill(daemon, SIGTERM);
    EXPECT_EQ(WaitForEnd(daemon), 0);
    EXPECT_TRUE(Contains(ReadFile(traces + "/log.zentd"), "Current RunLevel = -1"));
    EXPECT_EQ(Run(MORLACTL " trace show /srv/a*/log.zentd_i.gz"), 0);
    EXPECT_TRUE(Contains(ReadFile("/tmp/output"), "### End of initialization. ###"));
    EXPECT_FALSE(Contains(ReadFile("/tmp/output"), "forged")) << "it stands in the header";
    chmod("/etc/quorvat", 0755);
}

// The tools and the service's own writers. The editor of INI files takes a file of any user and one
// with a second name, as the given editing in place has it; the packages' folders keep both out.
TEST_F(CHostileTest, PlantsInTheWayOfWritersAreRefusedOrReplaced) {
    struct Writer {
        const char* Place;
        std::string Command;  // empty: StoreInventory
        bool IsEditor;
    };
    const Writer writers[] = {
        {"/etc/quorvat/settings.ini", MORLACTL " ini set /etc/quorvat/settings.ini S k v", true},
        {kNewTree, MORLACTL " registry create HKEY_LOCAL_MACHINE/Key", false},
        {"/etc/quorvat/RunLevel.new", MORLA_SYSTEMD "/run-level note", false},
        {"/var/lib/morla/inventory/new.json", "", false},
    };
    WriteFile("/usr/bin/systemctl", "#!/bin/sh\necho 1 reboot.target start waiting\n");
    chmod("/usr/bin/systemctl", 0755);
    MakeOpenFolder("/etc/quorvat");
    MakeOpenFolder("/var/lib/morla/inventory");
    for (const Writer& writer : writers) {
        for (const Plant plant : kPlants) {
            const bool isEdited =
                writer.IsEditor && (plant == Plant::kOwnFile || plant == Plant::kSecondName);
            Put(plant, writer.Place);
            const int code =
                writer.Command.empty() ? StoreInventory("text", true) : Run(writer.Command);
            EXPECT_EQ(code, writer.IsEditor && !isEdited ? 1 : 0)
                << writer.Place << ": " << Name(plant) << ReadFile("/tmp/output");
            if (!isEdited) {
                ExpectNothingFollowed(writer.Place);
            }
            WriteFile(kTarget, "root's own");
        }
    }
    EXPECT_TRUE(Contains(ReadFile("/etc/quorvat/registry"), "[Key]"));
    EXPECT_EQ(ReadFile(kRunLevelFile), "6\n");
    EXPECT_EQ(LoadLastInventory(), "text");
    chmod("/etc/quorvat", 0755);
}

TEST_F(CHostileTest, FoldersOfThePackageKeepHimOut) {
    std::vector<std::string> folders{"/etc/quorvat", "/etc/velmor/OskariaSuite/TraceConfig",
                                     "/etc/default"};
    umask(022);  // as a package is unpacked
    for (const std::string& folder : folders) {
        MakeDirectories(folder);
    }
    std::istringstream lines(ReadFile(MORLA_SYSTEMD "/morla.tmpfiles"));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string type;
        std::string path;
        std::string mode;
        if (words >> type >> path >> mode && type == "d") {
            Remove(path);
            MakeDirectories(path);
            ASSERT_EQ(chmod(path.c_str(), static_cast<mode_t>(std::stoul(mode, nullptr, 8))), 0);
            folders.push_back(path);
        }
    }
    ASSERT_EQ(folders.size(), 5U);
    // Nor does anything of his reach the service's environment.
    EXPECT_FALSE(Contains(ReadFile(MORLA_SYSTEMD "/zentd.service"), "\nPassEnvironment="));
    EXPECT_EQ(ServiceSetting("EnvironmentFile"), "-/etc/default/morla");
    std::istringstream defaults(ReadFile(MORLA_SYSTEMD "/../config/morla.default"));
    for (std::string line; std::getline(defaults, line);) {
        EXPECT_TRUE(line.empty() || line[0] == '#') << line;
    }
    for (const std::string& folder : folders) {
        for (const Plant plant : kPlants) {
            if (plant != Plant::kSecondName) {
                EXPECT_EQ(MakePlant(plant, folder + "/planted"), EACCES) << folder;
            }
        }
    }
}

TEST_F(CHostileTest, LockHeldByAnotherUserKeepsTheDaemonOutUnlessTheUnitMadeIt) {
    WriteFile(kLockFile, "zentd#1");  // left behind by a daemon that was started by hand
    chmod(kLockFile, 0644);
    int ready[2]{};
    ASSERT_EQ(pipe(ready), 0);
    const CUniqueFd reader(ready[0]);
    CUniqueFd writer(ready[1]);
    const pid_t holder = StartAttacker([&] {
        (void)prctl(PR_SET_NAME, "\x1b[2J\nok  all");
        const int file = open(kLockFile, O_RDONLY);
        return flock(file, LOCK_EX) == 0 && write(ready[1], "", 1) == 1 ? pause() : 1;
    });
    writer.Reset();
    char byte = 0;
    ASSERT_EQ(read(reader.Get(), &byte, 1), 1);
    EXPECT_EQ(WaitForEnd(StartForeground()), 1);
    EXPECT_EQ(ReadFile(kLockFile), "zentd#1");
    EXPECT_EQ(Run(MORLACTL " doctor"), 1);
    EXPECT_TRUE(Contains(ReadFile("/tmp/output"), "is held by process " + std::to_string(holder)));
    EXPECT_TRUE(Contains(ReadFile("/tmp/output"), ", user 65534), which is not the daemon"));
    EXPECT_FALSE(Contains(ReadFile("/tmp/output"), "\nok  all"));
    kill(holder, SIGKILL);
    EXPECT_EQ(WaitForEnd(holder), -SIGKILL);

    Remove(kLockFile);
    const auto mask = static_cast<mode_t>(std::stoul(ServiceSetting("UMask"), nullptr, 8));
    const pid_t daemon = StartForeground([mask] { umask(mask); });
    ASSERT_TRUE(WaitForText(kSwitchCallsFile, kStarted));
    EXPECT_EQ(AsAttacker([] { return open(kLockFile, O_RDONLY) >= 0 ? 0 : errno; }), EACCES);
    Kill(daemon);

    chmod(kInitRing, 0704);
    (void)Run(std::string(MORLACTL " trace check ") + kInitRing);
    EXPECT_TRUE(Contains(ReadFile("/tmp/output"), "mode 0704 lets others at what is traced"));
}

#include "tests/end_to_end/daemon_fixture.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <sstream>

#include "tests/daemon/recording_switch.h"
#include "tests/support/files.h"
#include "tests/support/private_root_guard.h"
#include "tests/support/wait_for.h"

namespace {

constexpr char kStandardErrorFile[] = "/tmp/standard_error";

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> LinesOf(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

}  // namespace

void CDaemonTest::SetUp() {
    RequirePrivateRoot();
    ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
    for (const char* path : {kPidFile, kLockFile, "/var/log/quorvat", "/etc/quorvat", "/run/utmp",
                             "/usr/bin/systemctl", kSwitchCallsFile, kStandardErrorFile}) {
        Remove(path);
    }
    MakeDirectories("/var/log/quorvat");
    WriteFile("/etc/velmor/OskariaSuite/TraceConfig/zentd.ini",
              "[zentd]\nFileDebugLevel=3\nRingBufferSizeFactor=1\nRingBufferSizeWeight=1\n"
              "MemoryTracesFlag=0\n[EndOfFile]\n");
    SetVariable("LD_LIBRARY_PATH", MORLA_SWITCH_FOLDER);
}

void CDaemonTest::TearDown() {
    // A killed process leaves its own children to this one, which then finds them here.
    for (pid_t pid = 0; std::istringstream(ReadFile("/proc/thread-self/children")) >> pid;) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
}

void CDaemonTest::SetVariable(const std::string& name, const std::string& value) {
    std::erase_if(m_Environment, [&](const std::string& v) { return v.starts_with(name + "="); });
    m_Environment.push_back(name + "=" + value);
}

void CDaemonTest::Preload() {
    SetVariable("LD_PRELOAD", MORLA_PRELOADED);
    SetVariable("ASAN_OPTIONS", "verify_asan_link_order=0");  // the preloaded library comes first
}

pid_t CDaemonTest::Spawn(const Lines& arguments, const std::function<void()>& prepare) {
    Lines words{kName};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const std::vector<char*> argv = Pointers(words);
    const std::vector<char*> environment = Pointers(m_Environment);
    const pid_t child = fork();
    if (child != 0) {
        return child;
    }
    const int file = open(kStandardErrorFile, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    dup2(file, STDERR_FILENO);
    if (prepare) {
        prepare();
    }
    execve(MORLA_EXECUTABLE, argv.data(), environment.data());
    _exit(127);
}

int CDaemonTest::WaitForEnd(pid_t pid) {
    int status = 0;
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

int CDaemonTest::Start(const Lines& arguments) {
    return WaitForEnd(Spawn(arguments));
}

void CDaemonTest::WaitForLog(const std::string& text) {
    ASSERT_TRUE(WaitForText(kLogFile, text)) << text;
}

pid_t CDaemonTest::WaitForPid() {
    EXPECT_TRUE(WaitForText(kPidFile, "\n"));
    const std::string text = ReadFile(kPidFile);
    return text.empty() ? -1 : std::stoi(text);
}

pid_t CDaemonTest::WaitForStart() {
    WaitForLog("Waiting for signals...");
    return WaitForPid();
}

std::string CDaemonTest::StandardError() {
    return ReadFile(kStandardErrorFile);
}

CDaemonTest::Lines CDaemonTest::SwitchCalls() {
    return LinesOf(ReadFile(kSwitchCallsFile));
}

CDaemonTest::Lines CDaemonTest::DaemonTexts(const std::string& path) {
    Lines texts;
    for (const std::string& line : LinesOf(ReadFile(path))) {
        for (const char* tag :
             {"ZENTD-MAIN", "SWITCH API", "SWITCH DLL", "LoadLibrary", "morla Version"}) {
            if (const std::size_t begin = line.find(tag); begin != std::string::npos) {
                texts.push_back(line.substr(begin));
                break;
            }
        }
    }
    return texts;
}

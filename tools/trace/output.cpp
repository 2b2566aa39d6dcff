#include "tools/trace/output.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/auxv.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <vector>

#include "base/file_io.h"

namespace tools {

namespace {

constexpr std::size_t kBlock = std::size_t{64} << 10U;

// What a shell makes of $PAGER, the user's own command; nothing else ever reaches a shell. One that
// does not exist has read nothing yet, so that the next one can. The shell outlives an interrupt,
// which is for the pager.
constexpr char kRunPager[] =
    "trap : INT\n"
    "eval \"$PAGER\"\n"
    "status=$?\n"
    "case $status in 126 | 127) ;; *) exit $status ;; esac\n"
    "for next in pager 'less -R' more; do\n"
    "    command -v ${next%% *} >/dev/null 2>&1 && exec $next\n"
    "done\n"
    "exec cat";

// The commands to try, in order; none when there is to be no pager.
std::vector<std::vector<std::string>> PagerCommands() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): there is one thread
    const char* const pager = std::getenv("PAGER");
    if (pager == nullptr) {
        return {{"pager"}, {"less", "-R"}, {"more"}};
    }
    const std::string command = pager;
    if (command.empty() || command == "cat") {
        return {};
    }
    return {{"sh", "-c", kRunPager}};
}

// Starts it with its standard input from `input`; 0 when that fails.
pid_t Spawn(std::vector<std::string> command, int input) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string& word : command) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    // The signal that is ignored here must end a pager's own helpers.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_t actions;
    (void)posix_spawnattr_init(&attributes);
    (void)posix_spawnattr_setsigdefault(&attributes, &signals);
    (void)posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    (void)posix_spawn_file_actions_init(&actions);
    (void)posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    pid_t pid = 0;
    const int error =
        posix_spawnp(&pid, arguments[0], &actions, &attributes, arguments.data(), environ);
    (void)posix_spawn_file_actions_destroy(&actions);
    (void)posix_spawnattr_destroy(&attributes);
    return error == 0 ? pid : 0;
}

}  // namespace

CTraceOutput::CTraceOutput() : m_IsTerminal(isatty(STDOUT_FILENO) != 0) {
    (void)std::signal(SIGPIPE, SIG_IGN);
}

CTraceOutput::~CTraceOutput() {
    Flush();
    m_Pager.Reset();
    int status = 0;
    while (m_PagerPid != 0 && waitpid(m_PagerPid, &status, 0) < 0 && errno == EINTR) {
    }
}

void CTraceOutput::StartPager() {
    // A program that runs with more rights than its user starts nothing that the user names, and
    // no pager that could start something.
    if (!m_IsTerminal || getauxval(AT_SECURE) != 0) {
        return;
    }
    const auto commands = PagerCommands();
    std::array<int, 2> ends{-1, -1};
    if (commands.empty() || pipe2(ends.data(), O_CLOEXEC) != 0) {
        return;
    }
    const CUniqueFd reader(ends[0]);
    CUniqueFd writer(ends[1]);
    // "pager" is "less" on most machines, which is to let colours through.
    // NOLINTNEXTLINE(concurrency-mt-unsafe): there is one thread
    (void)setenv("LESS", "-R", 0);
    for (std::size_t i = 0; i < commands.size() && m_PagerPid == 0; ++i) {
        m_PagerPid = Spawn(commands[i], reader.Get());
    }
    if (m_PagerPid != 0) {
        m_Pager = std::move(writer);
        // The pager's keys: an interrupt is for it alone.
        (void)std::signal(SIGINT, SIG_IGN);
    }
}

void CTraceOutput::Write(std::string_view text) {
    if (m_IsOver) {
        return;
    }
    m_Pending += text;
    if (m_Pending.size() >= kBlock) {
        Flush();
    }
}

void CTraceOutput::Flush() {
    if (m_IsOver || m_Pending.empty()) {
        return;
    }
    const int error = WriteFully(m_Pager.IsValid() ? m_Pager.Get() : STDOUT_FILENO, m_Pending);
    m_Pending.clear();
    m_IsOver = error != 0;
    m_Error = error == EPIPE ? 0 : error;
}

void CTraceOutput::Wait(int milliseconds) {
    pollfd entry{m_Pager.IsValid() ? m_Pager.Get() : STDOUT_FILENO, 0, 0};
    if (poll(&entry, 1, milliseconds) > 0 && (entry.revents & POLLERR) != 0) {
        m_IsOver = true;
    }
}

}  // namespace tools

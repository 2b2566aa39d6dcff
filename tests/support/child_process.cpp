#include "tests/support/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "tests/support/poll_for.h"

namespace {

// posix_spawn's two records, released in every case.
class CSpawnSettings {
public:
    CSpawnSettings() {
        (void)posix_spawn_file_actions_init(&m_Actions);
        (void)posix_spawnattr_init(&m_Attributes);
    }
    ~CSpawnSettings() {
        (void)posix_spawnattr_destroy(&m_Attributes);
        (void)posix_spawn_file_actions_destroy(&m_Actions);
    }
    CSpawnSettings(const CSpawnSettings&) = delete;
    CSpawnSettings& operator=(const CSpawnSettings&) = delete;

    void Redirect(int from, int to) {
        (void)posix_spawn_file_actions_adddup2(&m_Actions, from, to);
    }
    void UnblockAllSignals() {
        sigset_t none;
        sigemptyset(&none);
        (void)posix_spawnattr_setsigmask(&m_Attributes, &none);
        (void)posix_spawnattr_setflags(&m_Attributes, POSIX_SPAWN_SETSIGMASK);
    }
    [[nodiscard]] const posix_spawn_file_actions_t* Actions() const { return &m_Actions; }
    [[nodiscard]] const posix_spawnattr_t* Attributes() const { return &m_Attributes; }

private:
    posix_spawn_file_actions_t m_Actions{};
    posix_spawnattr_t m_Attributes{};
};

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

std::string Contents(const CUniqueFd& file) {
    std::string text;
    char bytes[4096];
    // Not read(): the position is shared with the child, which writes at it.
    for (ssize_t got = 0;
         (got = pread(file.Get(), bytes, sizeof bytes, static_cast<off_t>(text.size()))) > 0;) {
        text.append(bytes, static_cast<std::size_t>(got));
    }
    return text;
}

}  // namespace

CChildProcess::~CChildProcess() {
    if (m_Pid > 0) {
        (void)kill(m_Pid, SIGKILL);
        (void)waitpid(m_Pid, nullptr, 0);
    }
}

void CChildProcess::SetVariable(const std::string& name, const std::string& value) {
    m_Variables[name] = value;
}

std::vector<std::string> CChildProcess::Environment() const {
    std::vector<std::string> environment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (!m_Variables.contains(text.substr(0, text.find('=')))) {
            environment.push_back(text);
        }
    }
    for (const auto& [name, value] : m_Variables) {
        environment.push_back(name + "=" + value);
    }
    return environment;
}

int CChildProcess::Start() {
    m_Output.Reset(memfd_create("stdout", MFD_CLOEXEC));
    m_ErrorOutput.Reset(memfd_create("stderr", MFD_CLOEXEC));
    CSpawnSettings settings;
    settings.Redirect(m_Output.Get(), STDOUT_FILENO);
    settings.Redirect(m_ErrorOutput.Get(), STDERR_FILENO);
    settings.UnblockAllSignals();

    std::vector<std::string> arguments = m_Arguments;
    arguments.insert(arguments.begin(), m_Program);
    std::vector<std::string> environment = Environment();
    pid_t pid = 0;
    const int error =
        posix_spawn(&pid, m_Program.c_str(), settings.Actions(), settings.Attributes(),
                    Pointers(arguments).data(), Pointers(environment).data());
    if (error != 0) {
        return error;
    }
    m_Pid = pid;
    // Not pidfd_open(): the C library's header does not declare it for C++ everywhere.
    m_Process.Reset(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
    return m_Process.IsValid() ? 0 : errno;
}

void CChildProcess::Send(int signal) const {
    if (m_Pid > 0) {
        (void)kill(m_Pid, signal);
    }
}

std::optional<int> CChildProcess::Wait(std::chrono::milliseconds limit) {
    if (m_Pid > 0 && IsReadableWithin(m_Process.Get(), limit)) {
        int status = 0;
        (void)waitpid(m_Pid, &status, 0);
        m_ExitCode = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
        m_Pid = 0;
    }
    return m_ExitCode;
}

std::string CChildProcess::Output() const {
    return Contents(m_Output);
}
std::string CChildProcess::ErrorOutput() const {
    return Contents(m_ErrorOutput);
}

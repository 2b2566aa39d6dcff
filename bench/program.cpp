#include "bench/program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <thread>

#include "base/paths.h"

namespace bench {

pid_t StartProgram(const std::vector<std::string>& words, bool isQuiet) {
    std::vector<char*> pointers;
    for (const std::string& word : words) {
        pointers.push_back(const_cast<char*>(word.c_str()));
    }
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (isQuiet) {
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, paths::kNullDevice, O_WRONLY, 0);
        posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    }
    pid_t pid = 0;
    const int error = posix_spawn(&pid, pointers[0], &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw std::runtime_error("cannot start " + words.front());
    }
    return pid;
}

void RunProgram(const std::vector<std::string>& words, bool isQuiet) {
    const pid_t pid = StartProgram(words, isQuiet);
    int status = 0;
    if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error(words.front() + " failed");
    }
}

CRunningProgram::~CRunningProgram() {
    (void)kill(m_Pid, SIGKILL);
    (void)waitpid(m_Pid, nullptr, 0);
}

void CRunningProgram::Pause(int turn) {
    constexpr int kTurns = 5'000;
    if (turn == kTurns) {
        throw std::runtime_error("a program did not get ready");
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
}

}  // namespace bench

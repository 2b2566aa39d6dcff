#include "tests/end_to_end/hostile_fixture.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "base/unique_fd.h"
#include "tests/support/files.h"

namespace {

constexpr unsigned kHangSeconds = 10;
constexpr char kTargetText[] = "root's own";

int BindSocket(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    const CUniqueFd file(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    return bind(file.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

int MakeOwnFile(const std::string& path) {
    const CUniqueFd file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    return file.IsValid() ? fchmod(file.Get(), 0666) : -1;
}

}  // namespace

pid_t StartAttacker(const std::function<int()>& act) {
    const pid_t child = fork();
    if (child == 0) {
        const bool isOther = setgroups(0, nullptr) == 0 &&
                             setresgid(kAttacker, kAttacker, kAttacker) == 0 &&
                             setresuid(kAttacker, kAttacker, kAttacker) == 0;
        _exit(isOther ? act() : 125);
    }
    return child;
}

int AsAttacker(const std::function<int()>& act) {
    const pid_t child = StartAttacker(act);
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

const char* Name(Plant plant) {
    switch (plant) {
    case Plant::kLinkToFile: return "link to a file";
    case Plant::kLinkToNothing: return "link to nothing";
    case Plant::kLinkToDevice: return "link to a device";
    case Plant::kFifo: return "FIFO";
    case Plant::kSocket: return "socket";
    case Plant::kOwnFile: return "file of his";
    case Plant::kSecondName: return "second name";
    }
    return "";
}

int MakePlant(Plant plant, const std::string& path) {
    const auto make = [&] {
        switch (plant) {
        case Plant::kLinkToFile: return symlink("/root_files/target", path.c_str());
        case Plant::kLinkToNothing: return symlink("/root_files/nothing", path.c_str());
        case Plant::kLinkToDevice: return symlink("/dev/zero", path.c_str());
        case Plant::kFifo: return mkfifo(path.c_str(), 0666);
        case Plant::kSocket: return BindSocket(path);
        case Plant::kOwnFile: return MakeOwnFile(path);
        case Plant::kSecondName: return link("/root_files/target", path.c_str());
        }
        return -1;
    };
    const auto result = [&] {
        return make() == 0 ? 0 : errno;
    };
    return plant == Plant::kSecondName ? result() : AsAttacker(result);
}

void CHostileTest::SetUp() {
    CDaemonTest::SetUp();
    if (AsAttacker([] { return 0; }) != 0) {
        GTEST_SKIP() << "this root has no other user";
    }
    Remove("/root_files");
    WriteFile(kTarget, kTargetText);
    MakeDirectories("/etc/quorvat");
}

void CHostileTest::MakeOpenFolder(const std::string& path) {
    MakeDirectories(path);
    ASSERT_EQ(chmod(path.c_str(), 0777), 0);
}

void CHostileTest::Put(Plant plant, const std::string& path) {
    Remove(path);
    ASSERT_EQ(MakePlant(plant, path), 0) << Name(plant) << " at " << path;
}

void CHostileTest::ExpectNothingFollowed(const std::string& path) {
    EXPECT_EQ(ReadFile(kTarget), kTargetText) << path;
    EXPECT_FALSE(Exists(kNothing)) << path;
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0 && status.st_uid == kAttacker &&
        S_ISREG(status.st_mode)) {
        EXPECT_EQ(status.st_size, 0) << path;
    }
}

int CHostileTest::Run(const std::string& command) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(kHangSeconds);
        execl("/bin/sh", "sh", "-c", ("exec " + command + " >/tmp/output 2>&1").c_str(), nullptr);
        _exit(127);
    }
    return WaitForEnd(child);
}

pid_t CHostileTest::StartForeground(const std::function<void()>& prepare) {
    const pid_t daemon = Spawn({"-n"}, prepare);
    if (fork() == 0) {  // ended with the test
        sleep(kHangSeconds);
        kill(daemon, SIGKILL);
        _exit(0);
    }
    return daemon;
}

void CHostileTest::Kill(pid_t pid) {
    kill(pid, SIGKILL);
    EXPECT_EQ(WaitForEnd(pid), -SIGKILL);
}

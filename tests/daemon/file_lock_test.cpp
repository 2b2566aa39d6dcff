// This program's own flock can refuse in a way that the system's does not.
#include "daemon/file_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <memory>
#include <type_traits>

#include "base/unique_fd.h"
#include "tests/daemon/trace_log.h"
#include "tests/support/files.h"

namespace fs = std::filesystem;

static_assert(!std::is_copy_constructible_v<CFileLock> && !std::is_move_constructible_v<CFileLock>);

namespace {

int g_SharingViolations = 0;  // that many calls from now on fail with 32

}  // namespace

extern "C" int flock(int fd, int operation) noexcept {
    if (g_SharingViolations > 0) {
        --g_SharingViolations;
        errno = 32;
        return -1;
    }
    return static_cast<int>(syscall(SYS_flock, fd, operation));
}

namespace {

constexpr char kPath[] = "/tmp/locks/deep/zentd";
constexpr char kFile[] = "/tmp/locks/deep/zentd.lock";

class CFileLockTest : public CTraceLogTest {
protected:
    void SetUp() override {
        CTraceLogTest::SetUp();
        fs::remove_all("/tmp/locks");
    }

    static std::string OwnText() { return "zentd#" + std::to_string(getpid()); }
};

// Runs `body` in a child process, which exits with its result.
template <typename Body>
int RunInChild(Body body) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(body());
    }
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

TEST(LockDirectory, EndsBeforeTheLastSlashThatCounts) {
    EXPECT_EQ(LockDirectory("/var/lock/zentd.lock"), "/var/lock");
    EXPECT_EQ(LockDirectory("/a/b"), "/a");
    EXPECT_EQ(LockDirectory("/a/b/"), "/a");
    EXPECT_EQ(LockDirectory("/zentd.lock"), "/zentd.lock");
    EXPECT_EQ(LockDirectory("zentd.lock"), "zentd.lock");
    EXPECT_EQ(LockDirectory("a/b"), "a");
    EXPECT_EQ(LockDirectory("/"), "/");
    EXPECT_EQ(LockDirectory(""), "");
}

TEST_F(CFileLockTest, MakesDirectoriesAndFileAndRemovesTheFile) {
    const mode_t previous = umask(0);
    {
        CFileLock lock;
        ASSERT_TRUE(lock.Lock(kPath, "zentd", 0));
        umask(previous);
        EXPECT_EQ(ReadFile(kFile), OwnText());
        EXPECT_EQ(lock.LastError(), 0U);
        struct stat status {};
        ASSERT_EQ(stat(kFile, &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, 0644U);
        for (const char* directory : {"/tmp/locks", "/tmp/locks/deep"}) {
            ASSERT_EQ(stat(directory, &status), 0);
            EXPECT_EQ(status.st_mode & 07777U, 0711U) << directory;
        }
        const CUniqueFd other(open(kFile, O_RDONLY | O_CLOEXEC));
        EXPECT_EQ(flock(other.Get(), LOCK_EX | LOCK_NB), -1);
    }
    EXPECT_FALSE(fs::exists(kFile));
}

TEST_F(CFileLockTest, IsRefusedToASecondProcessAndLeftAloneByIt) {
    CFileLock lock;
    ASSERT_TRUE(lock.Lock(kPath, "zentd", 0));
    const int result = RunInChild([] {
        auto second = std::make_unique<CFileLock>();
        const bool isRefused = !second->Lock(kPath, "other", 0);
        const bool isKnown = second->OwnerInfo() == "zentd#" + std::to_string(getppid()) &&
                             second->LastError() == EWOULDBLOCK;
        second.reset();
        return isRefused && isKnown ? 0 : 1;
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(ReadFile(kFile), OwnText());
}

TEST_F(CFileLockTest, StaysWithAChildThatKeepsTheDescriptor) {
    int ready[2];
    int go[2];
    ASSERT_EQ(pipe2(ready, O_CLOEXEC), 0);
    ASSERT_EQ(pipe2(go, O_CLOEXEC), 0);
    const pid_t starter = fork();
    if (starter == 0) {
        auto* const lock = new CFileLock;
        const bool isLocked = lock->Lock(kPath, "zentd", 0);
        if (fork() != 0) {
            _exit(0);  // without the destructor
        }
        char byte = isLocked ? 'y' : 'n';
        (void)!write(ready[1], &byte, 1);
        close(go[1]);
        (void)!read(go[0], &byte, 1);
        delete lock;
        (void)!write(ready[1], &byte, 1);
        _exit(0);
    }
    char byte = 0;
    waitpid(starter, nullptr, 0);
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    ASSERT_EQ(byte, 'y');
    {
        CFileLock second;
        EXPECT_FALSE(second.Lock(kPath, "other", 0));
        EXPECT_EQ(second.OwnerInfo(), "zentd#" + std::to_string(starter));
    }
    close(go[1]);
    ASSERT_EQ(read(ready[0], &byte, 1), 1) << "the child has released the lock";
    EXPECT_FALSE(fs::exists(kFile));
}

TEST_F(CFileLockTest, TakesOverAFileOfADeadProcess) {
    fs::create_directories("/tmp/locks/deep");
    std::ofstream(kFile) << "zentd#4711 and a text that is longer than the new one";
    CFileLock lock;
    ASSERT_TRUE(lock.Lock(kPath, "", 0));
    EXPECT_EQ(ReadFile(kFile), "#" + std::to_string(getpid()));
    const std::vector<std::string> expected{
        "CFileLock::Lock     : LockFileName.c_str() = /tmp/locks/deep/zentd.lock",
        "CFileLock::Lock     : LockFileDir.c_str() = /tmp/locks/deep",
        "CFileLock::Lock     : nrRetries = 0",
        "CFileLock::Lock     : lockfile /tmp/locks/deep/zentd.lock EXISTS!",
        "CFileLock::Lock     : Successfully opened lockfile /tmp/locks/deep/zentd.lock",
        "CFileLock::Lock     : Trying to lock lockfile /tmp/locks/deep/zentd.lock",
        "CFileLock::Lock     : Successfully locked lockfile /tmp/locks/deep/zentd.lock",
        "CFileLock::Lock     : fileIsLockable = true",
    };
    EXPECT_EQ(TextsWith("CFileLock::Lock"), expected);
}

TEST_F(CFileLockTest, MovesToAnotherFileAndLeavesTheFirst) {
    CFileLock lock;
    ASSERT_TRUE(lock.Lock("/tmp/locks/first", "zentd", 0));
    ASSERT_TRUE(lock.Lock("/tmp/locks/second", "zentd", 0));
    const CUniqueFd first(open("/tmp/locks/first.lock", O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(flock(first.Get(), LOCK_EX | LOCK_NB), 0) << "unlocked, not removed";
}

// Deliberate behaviour: the retry looks for an error number that flock does not give.
TEST_F(CFileLockTest, TriesABusyFileOnceWhateverTheTimeOut) {
    CFileLock lock;
    ASSERT_TRUE(lock.Lock(kPath, "zentd", 0));
    CFileLock second;
    EXPECT_FALSE(second.Lock(kPath, "zentd", 250));
    EXPECT_EQ(TextsWith("Could NOT lock lockfile").size(), 1U);
    EXPECT_TRUE(TextsWith("Sharing Violation").empty());
    EXPECT_FALSE(second.Lock(kPath, "zentd", 99));
    EXPECT_EQ(TextsWith("nrRetries"),
              (std::vector<std::string>{"CFileLock::Lock     : nrRetries = 0",
                                        "CFileLock::Lock     : nrRetries = 2",
                                        "CFileLock::Lock     : nrRetries = 0"}));
}

TEST_F(CFileLockTest, RetriesASharingViolationWithinTheTimeOut) {
    struct Case {
        std::int32_t TimeoutMs;
        int Violations;
        bool IsLocked;
        std::size_t Attempts;
    };
    for (const Case& c : {Case{0, 1, false, 1}, Case{250, 2, false, 2}, Case{250, 1, true, 1}}) {
        fs::create_directories("/tmp/locks/deep");
        std::ofstream(kFile) << "zentd#4711";
        const std::size_t before = TextsWith("Error Sharing Violation").size();
        g_SharingViolations = c.Violations;
        CFileLock lock;
        EXPECT_EQ(lock.Lock(kPath, "zentd", c.TimeoutMs), c.IsLocked) << c.TimeoutMs;
        EXPECT_EQ(g_SharingViolations, 0) << c.TimeoutMs;
        EXPECT_EQ(TextsWith("Error Sharing Violation").size() - before, c.Attempts);
        EXPECT_EQ(lock.OwnerInfo(), c.IsLocked ? "" : "zentd#4711");
    }
}

TEST_F(CFileLockTest, KeepsTheFirst255BytesOfTheOwnersText) {
    fs::create_directories("/tmp/locks/deep");
    std::ofstream(kFile) << std::string(300, 'x');
    const CUniqueFd other(open(kFile, O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(flock(other.Get(), LOCK_EX), 0);
    CFileLock lock;
    EXPECT_FALSE(lock.Lock(kPath, "zentd", 0));
    EXPECT_EQ(lock.OwnerInfo(), std::string(255, 'x'));
    fs::resize_file(kFile, 0);
    EXPECT_FALSE(lock.Lock(kPath, "zentd", 0));
    EXPECT_EQ(lock.OwnerInfo(), "");
}

TEST_F(CFileLockTest, FailsWhereTheFileCannotBe) {
    CFileLock lock;
    EXPECT_FALSE(lock.Lock("relative/zentd", "zentd", 0));
    fs::create_directories("/tmp/locks");
    std::ofstream("/tmp/locks/file").flush();
    EXPECT_FALSE(lock.Lock("/tmp/locks/file/deep/zentd", "zentd", 0));
    EXPECT_EQ(TextsWith("## ERROR!"),
              (std::vector<std::string>{
                  "CFileLock           : ## ERROR! Failed to open/create lock directory relative "
                  "(LastError = 0x00000000)",
                  "CFileLock           : ## ERROR! Failed to open/create lock directory "
                  "/tmp/locks/file/deep (LastError = 0x00000000)"}));
    EXPECT_FALSE(lock.Lock("/tmp/locks/file/zentd", "zentd", 0));
    EXPECT_EQ(lock.LastError(), static_cast<std::uint32_t>(ENOTDIR)) << "a file in its place";
    // Without a directory the lock file's own name is made as one.
    EXPECT_FALSE(lock.Lock("/zentd", "zentd", 0));
    EXPECT_EQ(lock.LastError(), static_cast<std::uint32_t>(EISDIR));
    EXPECT_TRUE(fs::is_directory("/zentd.lock"));
    fs::remove("/zentd.lock");

    EXPECT_FALSE(lock.Lock("", "zentd", 0));
    EXPECT_FALSE(lock.Lock(nullptr, "zentd", 0));
    EXPECT_EQ(lock.LastError(), static_cast<std::uint32_t>(EINVAL));
}

TEST_F(CFileLockTest, CutsALongDirectoryAt259Characters) {
    const std::string directory =
        "/tmp/locks/" + std::string(200, 'a') + "/" + std::string(99, 'b');
    CFileLock lock;
    EXPECT_FALSE(lock.Lock((directory + "/zentd").c_str(), "zentd", 0));
    EXPECT_EQ(lock.LastError(), static_cast<std::uint32_t>(ENOENT));
    EXPECT_TRUE(fs::is_directory(directory.substr(0, 259)));
    EXPECT_FALSE(fs::exists(directory));
}

TEST_F(CFileLockTest, IsSilentWhileTracingIsOff) {
    SwitchTracingOff();
    const std::size_t before = Texts().size();
    CFileLock lock;
    EXPECT_TRUE(lock.Lock(kPath, "zentd", 0));
    EXPECT_EQ(Texts().size(), before);
}

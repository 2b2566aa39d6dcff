// Beside the end-to-end tests, which lock from process to process: what one process can see.
// This program's own flock can refuse in a way that the system's does not, and can let something
// happen in the instants between a start's look at the file and its lock on it.
#include "daemon/file_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <utility>

#include "base/unique_fd.h"
#include "tests/daemon/trace_log.h"
#include "tests/support/files.h"

namespace {

int g_SharingViolations = 0;        // that many calls from now on fail with 32
std::function<void()> g_Meanwhile;  // once, behind the unlocking of a file that was looked at, or
                                    // before the locking of one that was opened for good

bool IsForGood(int fd) {
    return (fcntl(fd, F_GETFL) & O_ACCMODE) == O_RDWR;
}

}  // namespace

extern "C" int flock(int fd, int operation) noexcept {
    if (g_SharingViolations > 0) {
        --g_SharingViolations;
        errno = 32;
        return -1;
    }
    const auto flock = [&] {
        return static_cast<int>(syscall(SYS_flock, fd, operation));
    };
    if (!g_Meanwhile || (operation != LOCK_UN && !IsForGood(fd))) {
        return flock();
    }
    const auto meanwhile = std::exchange(g_Meanwhile, nullptr);
    const int unlocked = operation == LOCK_UN ? flock() : 0;
    meanwhile();
    return operation == LOCK_UN ? unlocked : flock();
}

namespace {

using Lines = std::vector<std::string>;

constexpr char kPath[] = "/tmp/locks/deep/zentd";
constexpr char kFile[] = "/tmp/locks/deep/zentd.lock";

class CFileLockTest : public CTraceLogTest {
protected:
    void SetUp() override {
        CTraceLogTest::SetUp();
        Remove("/tmp/locks");
    }
};

bool IsFree(const char* path) {
    const CUniqueFd other(open(path, O_RDONLY | O_CLOEXEC));
    return flock(other.Get(), LOCK_EX | LOCK_NB) == 0;
}

}  // namespace

TEST_F(CFileLockTest, MakesDirectoriesAndFileAndRemovesTheFile) {
    const mode_t previous = umask(0);
    const int unused = CUniqueFd(open("/dev/null", O_RDONLY | O_CLOEXEC)).Get();
    {
        CFileLock lock;
        ASSERT_TRUE(lock.Lock("/tmp/locks/first", "zentd", 0));
        ASSERT_TRUE(lock.Lock(kPath, "zentd", 0));
        umask(previous);
        EXPECT_TRUE(IsFree("/tmp/locks/first.lock")) << "unlocked, not removed";
        EXPECT_FALSE(IsFree(kFile));
        EXPECT_EQ(ReadFile(kFile), "zentd#" + std::to_string(getpid()));
        EXPECT_EQ(lock.LastError(), 0U);
        for (const auto& [path, mode] :
             {std::pair{kFile, 0644U}, {"/tmp/locks", 0711U}, {"/tmp/locks/deep", 0711U}}) {
            struct stat status {};
            ASSERT_EQ(stat(path, &status), 0);
            EXPECT_EQ(status.st_mode & 07777U, mode) << path;
        }
    }
    EXPECT_FALSE(Exists(kFile));
    EXPECT_EQ(CUniqueFd(open("/dev/null", O_RDONLY | O_CLOEXEC)).Get(), unused) << "all are closed";
}

TEST_F(CFileLockTest, TakesOverAFileOfADeadProcess) {
    WriteFile(kFile, "zentd#4711 and a text that is longer than the new one");
    CFileLock lock;
    ASSERT_TRUE(lock.Lock(kPath, "", 0));
    EXPECT_EQ(ReadFile(kFile), "#" + std::to_string(getpid()));
    const Lines expected{
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

// Deliberate behaviour: the retry looks for an error number that flock does not give.
TEST_F(CFileLockTest, TriesABusyFileOnceWhateverTheTimeOut) {
    WriteFile(kFile, std::string(300, 'x'));
    const CUniqueFd other(open(kFile, O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(flock(other.Get(), LOCK_EX), 0);
    CFileLock lock;
    EXPECT_FALSE(lock.Lock(kPath, "zentd", 250));
    EXPECT_EQ(lock.LastError(), static_cast<std::uint32_t>(EWOULDBLOCK));
    EXPECT_EQ(lock.OwnerInfo(), std::string(255, 'x'));
    EXPECT_EQ(TextsWith("nrRetries"), Lines{"CFileLock::Lock     : nrRetries = 2"});
    EXPECT_EQ(TextsWith("Could NOT lock lockfile").size(), 1U);
    EXPECT_TRUE(TextsWith("Sharing Violation").empty());
}

TEST_F(CFileLockTest, RetriesASharingViolationWithinTheTimeOut) {
    struct Case {
        std::int32_t TimeoutMs;
        int Violations;
        bool IsLocked;
        std::size_t Attempts;
    };
    for (const Case& c : {Case{99, 1, false, 1}, Case{250, 2, false, 2}, Case{250, 1, true, 1}}) {
        WriteFile(kFile, "zentd#4711");
        const std::size_t before = TextsWith("Error Sharing Violation").size();
        g_SharingViolations = c.Violations;
        CFileLock lock;
        EXPECT_EQ(lock.Lock(kPath, "zentd", c.TimeoutMs), c.IsLocked) << c.TimeoutMs;
        EXPECT_EQ(g_SharingViolations, 0) << c.TimeoutMs;
        EXPECT_EQ(TextsWith("Error Sharing Violation").size() - before, c.Attempts);
        EXPECT_EQ(lock.OwnerInfo(), c.IsLocked ? "" : "zentd#4711");
    }
}

// Two starts at once: both have found no file, or one of a dead process.
TEST_F(CFileLockTest, LosesToAStartThatWasFaster) {
    for (const bool isStale : {false, true}) {
        Remove(kFile);
        if (isStale) {
            WriteFile(kFile, "zentd#4711");
        }
        CUniqueFd winner;
        g_Meanwhile = [&] {
            winner.Reset(open(kFile, O_RDWR | O_CLOEXEC));
            ASSERT_EQ(flock(winner.Get(), LOCK_EX | LOCK_NB), 0);
            WriteFile(kFile, "zentd#77");
        };
        {
            CFileLock loser;
            MakeDirectories("/tmp/locks/deep");
            EXPECT_FALSE(loser.Lock(kPath, "zentd", 0));
            EXPECT_EQ(loser.LastError(), static_cast<std::uint32_t>(EWOULDBLOCK));
            EXPECT_EQ(loser.OwnerInfo(), "zentd#77");
        }
        EXPECT_EQ(ReadFile(kFile), "zentd#77");
        EXPECT_FALSE(IsFree(kFile));
    }
}

// One that was faster and gives up at once.
TEST_F(CFileLockTest, TriesTheLockASecondTime) {
    CUniqueFd other;
    g_Meanwhile = [&] {
        other.Reset(open(kFile, O_RDWR | O_CLOEXEC));
        ASSERT_EQ(flock(other.Get(), LOCK_EX | LOCK_NB), 0);
        g_Meanwhile = [&] {
            other.Reset();
        };
    };
    CFileLock lock;
    EXPECT_TRUE(lock.Lock(kPath, "zentd", 0));
    EXPECT_FALSE(IsFree(kFile));
}

// An instance that ends removes the file between a start's opening and locking it.
TEST_F(CFileLockTest, LocksTheFileThatThePathNames) {
    WriteFile(kFile, "zentd#4711");
    g_Meanwhile = [] {
        Remove(kFile);
    };
    CFileLock lock;
    ASSERT_TRUE(lock.Lock(kPath, "zentd", 0));
    EXPECT_FALSE(IsFree(kFile));
    EXPECT_EQ(ReadFile(kFile), "zentd#" + std::to_string(getpid()));
}

// Somebody who may write the folder moves the file away each time that it was opened.
TEST_F(CFileLockTest, GivesUpAFileThatIsMovedAwayEachTime) {
    int moves = 0;
    std::function<void()> moveAway = [&] {
        moves += rename(kFile, "/tmp/locks/deep/away") == 0 ? 1 : 0;
        g_Meanwhile = moveAway;
    };
    g_Meanwhile = moveAway;
    CFileLock lock;
    EXPECT_FALSE(lock.Lock(kPath, "zentd", 0));
    g_Meanwhile = nullptr;
    EXPECT_EQ(moves, 100);
    EXPECT_FALSE(Exists(kFile));
    EXPECT_EQ(ReadFile("/tmp/locks/deep/away"), "") << "what was moved is left alone";
}

TEST_F(CFileLockTest, FailsWhereTheFileCannotBe) {
    WriteFile("/tmp/locks/file", "");
    const std::string tooLong = "/tmp/locks/" + std::string(200, 'a') + "/" + std::string(99, 'b');
    const struct {
        std::string Path;
        int Error;
    } rows[] = {
        {"relative/zentd", 0},
        {"/tmp/locks/file/deep/zentd", 0},
        {"/tmp/locks/file/zentd", ENOTDIR},
        {"/zentd", EISDIR},            // without a directory its own name is made as one
        {tooLong + "/zentd", ENOENT},  // as much of it as fits is made
        {"", EINVAL},
    };
    for (const auto& row : rows) {
        CFileLock lock;
        EXPECT_FALSE(lock.Lock(row.Path.c_str(), "zentd", 0)) << row.Path;
        EXPECT_EQ(lock.LastError(), static_cast<std::uint32_t>(row.Error)) << row.Path;
    }
    EXPECT_EQ(TextsWith("## ERROR!"),
              (Lines{"CFileLock           : ## ERROR! Failed to open/create lock directory "
                     "relative (LastError = 0x00000000)",
                     "CFileLock           : ## ERROR! Failed to open/create lock directory "
                     "/tmp/locks/file/deep (LastError = 0x00000000)"}));
    EXPECT_TRUE(Exists(tooLong.substr(0, 259)));
    EXPECT_FALSE(Exists(tooLong));
    EXPECT_EQ(LockDirectory("/a/b/"), "/a");
    EXPECT_EQ(LockDirectory("a/b"), "a");
    EXPECT_EQ(LockDirectory("/"), "/");
    Remove("/zentd.lock");
}

TEST_F(CFileLockTest, TracesEachStepAtItsLevel) {
    EXPECT_EQ(LinesByLevel([] {
                  CFileLock lock;
                  EXPECT_TRUE(lock.Lock(kPath, "zentd", 0));
                  EXPECT_FALSE(CFileLock().Lock(kPath, "zentd", 0));
                  EXPECT_FALSE(CFileLock().Lock("relative/zentd", "zentd", 0));
              }),
              std::vector<std::string>{"CFileLock 1:1 3:15 5:4"});
}

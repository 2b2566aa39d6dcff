// Starts the real executable on the real paths of a private root, and watches what it leaves there.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

// A daemon may be started in each test; whatever of it still runs at the end is killed by its
// process id. The test process adopts orphans, so that a background daemon's end can be awaited.
class CDaemonTest : public testing::Test {
protected:
    using Lines = std::vector<std::string>;

    static constexpr char kPidFile[] = "/var/run/zentd.pid";
    static constexpr char kLockFile[] = "/var/lock/zentd.lock";
    static constexpr char kLogFile[] = "/var/log/quorvat/log.zentd";
    static constexpr char kInitRing[] = "/var/log/quorvat/log.zentd_i";
    static constexpr char kActiveRing[] = "/var/log/quorvat/log.zentd_a";
    static constexpr char kRunLevelFile[] = "/etc/quorvat/RunLevel";

    // A system without traces of an earlier daemon, tracing at level 3, and no systemctl.
    void SetUp() override;
    void TearDown() override;

    // A variable of the daemons started from now on. The switch library is found through
    // LD_LIBRARY_PATH, which SetUp fills.
    void SetVariable(const std::string& name, const std::string& value);

    // Puts the system calls of preloaded.cpp before the C library's.
    void Preload();

    // Starts the executable under the given name; `prepare` runs in the child before it.
    pid_t Spawn(const Lines& arguments, const std::function<void()>& prepare = {});
    // Awaits the end of a process. Its exit code, or the negative number of the signal.
    int WaitForEnd(pid_t pid);
    // Starts the executable and awaits the end of that process; of a background daemon's parent.
    int Start(const Lines& arguments = {});

    // Awaits what the daemon does to its files. Fails the test when that takes too long.
    static void WaitForLog(const std::string& text);
    // Awaits the pid file and returns what it says.
    static pid_t WaitForPid();
    // Awaits the end of the start and returns the daemon's process id.
    static pid_t WaitForStart();

    static std::string StandardError();
    static Lines SwitchCalls();
    // The daemon's own entries in a log or ring file, without headers, in the file's order.
    static Lines DaemonTexts(const std::string& path);

    // The name that Spawn calls the executable by.
    static constexpr char kName[] = "called-so";

private:
    std::vector<std::string> m_Environment;
};

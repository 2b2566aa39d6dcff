#include "trace/syslog_traces.h"

#include <pthread.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <barrier>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "base/unique_fd.h"
#include "tests/support/private_root_guard.h"

namespace {

std::atomic<int> OpenCount{0};

}  // namespace

// The linker puts this in openlog's place.
extern "C" {
void __real_openlog(const char* identity, int options, int facility);
void __wrap_openlog(const char* identity, int options, int facility);
void __wrap_openlog(const char* identity, int options, int facility) {
    ++OpenCount;
    EXPECT_STREQ(identity, program_invocation_short_name);
    EXPECT_EQ(options, 11);
    EXPECT_EQ(facility, 136);
    __real_openlog(identity, options, facility);
}
}

namespace {

// Listens where the system log does. The one connection is made while it listens.
class SysLog : public testing::Test {
protected:
    static void SetUpTestSuite() {
        RequirePrivateRoot();
        Socket.Reset(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, "/dev/log");
        ASSERT_EQ(bind(Socket.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        const timeval limit{.tv_sec = 10, .tv_usec = 0};
        ASSERT_EQ(setsockopt(Socket.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit), 0);
    }
    static void TearDownTestSuite() { Socket.Reset(); }

    // The next line: its priority, and what stands behind the time and "NAME[PID]: ".
    static std::string Next() {
        char line[4096];
        const ssize_t length = recv(Socket.Get(), line, sizeof line, 0);
        if (length <= 0) {
            return "<nothing>";
        }
        const std::string text(line, static_cast<std::size_t>(length));
        const std::string sender =
            std::string(program_invocation_short_name) + "[" + std::to_string(getpid()) + "]: ";
        const std::size_t begin = text.find(sender);
        return begin == std::string::npos
                   ? text
                   : text.substr(0, text.find('>') + 1) + text.substr(begin + sender.size());
    }

    static void Log(const char* format, ...) MORLA_PRINTF(1, 2) {
        va_list args;
        va_start(args, format);
        SysLogTraces::getConnection()->logMessageVaList(format, args);
        va_end(args);
    }

    static inline CUniqueFd Socket;
};

// First, so that the threads race for the creation.
TEST_F(SysLog, OpensOneConnectionHoweverManyThreadsAskFirst) {
    constexpr int kThreads = 16;
    std::barrier start(kThreads);
    std::vector<SysLogTraces*> found(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            found[static_cast<std::size_t>(i)] = SysLogTraces::getConnection();
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(std::set<SysLogTraces*>(found.begin(), found.end()).size(), 1U);
    EXPECT_NE(found[0], nullptr);
    EXPECT_EQ(OpenCount, 1);
    EXPECT_STREQ(found[0]->getProcName(), program_invocation_short_name);
}

TEST_F(SysLog, LogsAtTheGivenPriority) {
    const volatile SysLogTraces& log = *SysLogTraces::getConnection();
    log.logMessage(nullptr, kSysLogError);
    for (const SysLogLevel level : {kSysLogAlert, kSysLogError, kSysLogDebug}) {
        log.logMessage("text", level);
        EXPECT_EQ(Next(), "<" + std::to_string(136 + level) + ">text");
    }
}

TEST_F(SysLog, FormatsAtPriorityInfo) {
    Log("\n\nstarted %d", 5);
    EXPECT_EQ(Next(), "<142>started 5");
    Log("\n\n");
    EXPECT_EQ(Next(), "<142>\n\n");
    Log("%s", std::string(1023, 'x').c_str());
    EXPECT_EQ(Next(), "<142>" + std::string(1023, 'x'));
    Log("%s", std::string(2000, 'y').c_str());
    EXPECT_EQ(Next(), "<142>" + std::string(1023, 'y'));
    const wchar_t noCharacter[] = {static_cast<wchar_t>(0x7FFFFFFF), 0};
    Log("%ls", static_cast<const wchar_t*>(noCharacter));
    EXPECT_EQ(Next(), "<142>ERROR: cann't format message");
}

// The text is a format for the system log once more.
TEST_F(SysLog, InterpretsPercentSignsOfTheText) {
    SysLogTraces::getConnection()->logMessage("100%%", kSysLogInfo);
    EXPECT_EQ(Next(), "<142>100%");
    Log("%s", "100%%");
    EXPECT_EQ(Next(), "<142>100%");
}

TEST_F(SysLog, FinishesTheMessageOfACancelledThread) {
    pthread_t thread{};
    const auto logCancelled = [](void*) -> void* {
        pthread_cancel(pthread_self());
        SysLogTraces::getConnection()->logMessage("last words", kSysLogInfo);
        pthread_testcancel();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, nullptr, logCancelled, nullptr), 0);
    void* result = nullptr;
    pthread_join(thread, &result);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_EQ(Next(), "<142>last words");
}

}  // namespace

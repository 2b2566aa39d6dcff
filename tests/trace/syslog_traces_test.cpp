#include "trace/syslog_traces.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <cerrno>
#include <cstdarg>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/cancelled_thread.h"
#include "tests/support/syslog_catcher.h"

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

// The one connection is made while the catcher listens.
class SysLog : public testing::Test {
protected:
    static void SetUpTestSuite() { Catcher = std::make_unique<CSyslogCatcher>(); }
    static void TearDownTestSuite() { Catcher.reset(); }

    // The next line: its priority, and what stands behind the time and "NAME[PID]: ".
    static std::string Next() {
        static std::size_t taken = 0;
        if (taken == Catcher->Lines().size()) {
            return "<nothing>";
        }
        const std::string text = Catcher->Lines()[taken++];
        const std::string sender =
            std::string(program_invocation_short_name) + "[" + std::to_string(getpid()) + "]: ";
        return text.substr(0, text.find('>') + 1) +
               text.substr(std::min(text.find(sender), text.size()) + sender.size());
    }

    static void Log(const char* format, ...) MORLA_PRINTF(1, 2) {
        va_list args;
        va_start(args, format);
        SysLogTraces::getConnection()->logMessageVaList(format, args);
        va_end(args);
    }

    static inline std::unique_ptr<CSyslogCatcher> Catcher;
};

// First, so that the threads race for the creation.
TEST_F(SysLog, OpensOneConnectionHoweverManyThreadsAskFirst) {
    constexpr std::size_t kThreads = 16;
    std::barrier start(kThreads);
    std::vector<SysLogTraces*> found(kThreads);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            found[i] = SysLogTraces::getConnection();
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(std::set<SysLogTraces*>(found.begin(), found.end()).size(), 1U);
    EXPECT_EQ(OpenCount, 1);
}

// The text is a format for the system log once more.
TEST_F(SysLog, LogsAtTheGivenPriorityAndInterpretsPercentSigns) {
    const volatile SysLogTraces& log = *SysLogTraces::getConnection();
    log.logMessage(nullptr, kSysLogError);
    for (const SysLogLevel level : {kSysLogAlert, kSysLogError, kSysLogDebug}) {
        log.logMessage("100%%", level);
        EXPECT_EQ(Next(), "<" + std::to_string(136 + level) + ">100%");
    }
    InCancelledThread([&] { log.logMessage("last words", kSysLogInfo); });
    EXPECT_EQ(Next(), "<142>last words");
}

TEST_F(SysLog, FormatsAtPriorityInfo) {
    Log("\n\nstarted %d", 5);
    EXPECT_EQ(Next(), "<142>started 5");
    Log("\n\n");
    EXPECT_EQ(Next(), "<142>\n\n");
    Log("%s", "100%%");
    EXPECT_EQ(Next(), "<142>100%");
    Log("%s", std::string(2000, 'y').c_str());
    EXPECT_EQ(Next(), "<142>" + std::string(1023, 'y'));
    const wchar_t noCharacter[] = {static_cast<wchar_t>(0x7FFFFFFF), 0};
    Log("%ls", static_cast<const wchar_t*>(noCharacter));
    EXPECT_EQ(Next(), "<142>ERROR: cann't format message");
}

}  // namespace

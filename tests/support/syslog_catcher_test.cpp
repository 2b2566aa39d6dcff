#include "tests/support/syslog_catcher.h"

#include <syslog.h>

#include <gtest/gtest.h>

namespace {

TEST(SyslogCatcher, KeepsEachMessage) {
    CSyslogCatcher catcher;
    EXPECT_TRUE(catcher.Lines().empty());
    openlog("catcher_test", 0, LOG_DAEMON);
    syslog(LOG_ERR, "first %d", 1);
    syslog(LOG_INFO, "second");
    closelog();
    ASSERT_EQ(catcher.Lines().size(), 2U);
    // 27: the daemons' facility (3) times 8, and the priority "error" (3).
    EXPECT_EQ(catcher.Lines()[0].find("<27>"), 0U) << catcher.Lines()[0];
    EXPECT_TRUE(catcher.Lines()[0].ends_with(" catcher_test: first 1")) << catcher.Lines()[0];
    EXPECT_TRUE(catcher.WaitForLine("second"));
    EXPECT_FALSE(catcher.WaitForLine("third", std::chrono::milliseconds(1)));
}

}  // namespace

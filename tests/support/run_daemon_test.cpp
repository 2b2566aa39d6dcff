// What ./dev run starts, seen from outside.
#include <signal.h>

#include <string>

#include <gtest/gtest.h>

#include "tests/support/child_process.h"
#include "tests/support/wait_for.h"

namespace {

using Arguments = std::vector<std::string>;

Arguments InPrivateRoot(const Arguments& arguments) {
    Arguments all{"--", RUN_DAEMON};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return all;
}

// Expects the texts in `output`, in this order.
void ExpectInOrder(const std::string& output, const Arguments& texts) {
    std::size_t position = 0;
    for (const std::string& text : texts) {
        position = output.find(text, position);
        ASSERT_NE(position, std::string::npos) << text << " is missing in\n" << output;
    }
}

TEST(RunDaemon, ShowsTheWholeLifeOfADaemonAndStopsIt) {
    const struct {
        Arguments Given;
        int Signal;  // 0: ended by the time
        const char* Got;
    } cases[] = {
        {{"--for", "1"}, 0, "got signal 15"},
        {{"-plexa"}, SIGTERM, "got signal 15"},
        {{"-plexa"}, SIGINT, "got signal 2"},
    };
    for (const auto& row : cases) {
        CChildProcess run(PRIVATE_ROOT, InPrivateRoot(row.Given));
        ASSERT_EQ(run.Start(), 0);
        if (row.Signal != 0) {
            const auto isWaitingOrOver = [&] {
                return run.Output().find("Waiting for signals") != std::string::npos ||
                       run.Wait(std::chrono::milliseconds(0)).has_value();
            };
            EXPECT_TRUE(WaitUntil(isWaitingOrOver, "/tmp")) << run.ErrorOutput();
            run.Send(row.Signal);
        }
        const std::optional<int> code = run.Wait(kGenerousLimit);
        if (code == 77) {
            GTEST_SKIP() << run.ErrorOutput();
        }
        EXPECT_EQ(code, 0) << run.ErrorOutput();
        const std::string output = run.Output();
        ExpectInOrder(output, {"log  | ", "Version=\"", "## Done initializing ##",
                               "Waiting for signals...", row.Got, "## EXIT PROCESS ZENTD ##"});
        ExpectInOrder(output, {"ring | ", "### Start of initialization. ###", "HEARTBEAT",
                               "### End of initialization. ###", "Waiting for signals...",
                               "module heartbeat unloaded", "## EXIT PROCESS ZENTD ##"});
        EXPECT_EQ(output.find("____"), std::string::npos) << "unwritten parts of a ring";
        EXPECT_EQ(output.find("TRACE-END"), std::string::npos);
    }
}

TEST(RunDaemon, RefusesATimeThatIsNone) {
    for (const Arguments& arguments :
         {Arguments{"--for"}, {"--for", "abc"}, {"--for", "0"}, {"--for", "-1"}, {"--for", "5s"}}) {
        CChildProcess run(RUN_DAEMON, arguments);
        ASSERT_EQ(run.Start(), 0);
        EXPECT_EQ(run.Wait(kGenerousLimit), 64);
        EXPECT_NE(run.ErrorOutput().find("usage:"), std::string::npos);
    }
}

TEST(RunDaemon, DoesNothingOutsideAPrivateRoot) {
    CChildProcess run(RUN_DAEMON);
    ASSERT_EQ(run.Start(), 0);
    EXPECT_EQ(run.Wait(kGenerousLimit), 1);
}

}  // namespace

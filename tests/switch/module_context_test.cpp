// What a module gets from its switch: the request to stop in its three forms, and settings.
#include "switch/module_context.h"

#include <poll.h>
#include <pthread.h>

#include <memory>
#include <thread>

#include <gtest/gtest.h>

class Context : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(m_Context.Open(), 0);
        m_Context.SetName("fans");
    }
    bool IsDescriptorReadable() {
        pollfd entry{m_Context.StopDescriptor(), POLLIN, 0};
        return poll(&entry, 1, 0) == 1;
    }

    CModuleContext m_Context{
        {kLoaderFlagForceRescan, RUN_MODE_TOVIN},
        std::make_shared<CSwitchSettings>(CSwitchSettings::Parse("[fans]\nspeed=9\n[x]\ny=1"))};
};

TEST_F(Context, TellsModeFlagAndSettings) {
    EXPECT_EQ(m_Context.RunMode(), RUN_MODE_TOVIN);
    EXPECT_TRUE(m_Context.IsForceRescan());
    EXPECT_STREQ(m_Context.Setting("speed", "1"), "9");
    EXPECT_STREQ(m_Context.Setting("y", "1st"), "1st");
    EXPECT_EQ(m_Context.Setting("y", nullptr), nullptr);
    EXPECT_EQ(m_Context.Setting(nullptr, nullptr), nullptr);
}

TEST_F(Context, TimesOutUntilAStopIsRequested) {
    EXPECT_FALSE(m_Context.IsStopRequested());
    EXPECT_FALSE(m_Context.WaitForStop(0));
    EXPECT_FALSE(m_Context.WaitForStop(1));
    EXPECT_FALSE(IsDescriptorReadable());
    for (int request = 0; request < 2; ++request) {
        m_Context.RequestStop();
        EXPECT_TRUE(m_Context.IsStopRequested());
        EXPECT_TRUE(m_Context.WaitForStop(0));
        EXPECT_TRUE(m_Context.WaitForStop(ModuleContext::kNoTimeLimit));
        EXPECT_TRUE(IsDescriptorReadable());
    }
}

TEST_F(Context, WakesEveryWaitingThread) {
    bool results[2] = {};
    std::thread first([&] { results[0] = m_Context.WaitForStop(ModuleContext::kNoTimeLimit); });
    std::thread second([&] { results[1] = m_Context.WaitForStop(3'600'000); });
    m_Context.RequestStop();
    first.join();
    second.join();
    EXPECT_TRUE(results[0]);
    EXPECT_TRUE(results[1]);
}

TEST_F(Context, LetsACancelledThreadUnwind) {
    std::thread thread([&] { m_Context.WaitForStop(ModuleContext::kNoTimeLimit); });
    EXPECT_EQ(pthread_cancel(thread.native_handle()), 0);
    thread.join();
    EXPECT_FALSE(m_Context.IsStopRequested());
}

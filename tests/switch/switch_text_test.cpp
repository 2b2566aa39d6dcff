// Parts of the switch and the example module that need no daemon: settings, what a module is told,
// the kernel's files.
#include <poll.h>
#include <pthread.h>

#include <memory>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "modules/example/system_load.h"
#include "switch/module_context.h"
#include "switch/switch_settings.h"

TEST(SwitchSettings, FindsTheFirstValueOfAKeyInTheFirstSectionOfAName) {
    const CSwitchSettings settings = CSwitchSettings::Parse(
        "early=0\n; a comment\n  [one] trailing\r\n  key \t=  a b  ; and why\r\nkey=second\n"
        "no value\nempty=\nequation=a=b\n[two]\nkey=other\n[one]\nlate=1\n[open\nkey=in open\n"
        "[last]\nkey=last");
    const auto find = [&](const char* section, const char* key) {
        const char* const value = settings.Find(section, key);
        return std::string(value != nullptr ? value : "<none>");
    };
    EXPECT_EQ(find("one", "key"), "a b");
    EXPECT_EQ(find("one", "equation"), "a=b");
    EXPECT_EQ(find("two", "key"), "other");
    EXPECT_EQ(find("open", "key"), "in open");
    EXPECT_EQ(find("last", "key"), "last");
    for (const char* missing : {"early", "no value", "empty", "late", "Key", ""}) {
        EXPECT_EQ(find("one", missing), "<none>") << missing;
    }
    EXPECT_EQ(find("One", "key"), "<none>");
    EXPECT_EQ(find("", "early"), "<none>");
}

TEST(SwitchSettings, TakesTimeoutsFromOneMillisecondToTenMinutes) {
    const std::pair<const char*, int> rows[] = {{"1", 1},    {"600000", 600000}, {"600001", 0},
                                                {"0", 0},    {"-1", 0},          {"5s", 0},
                                                {"0x10", 0}, {"4294967297", 0},  {"", 7}};
    for (const auto& [value, timeout] : rows) {
        const auto settings = CSwitchSettings::Parse("[s]\nt=" + std::string(value));
        bool isRefused = timeout != 0;
        const std::chrono::milliseconds otherwise(7);
        EXPECT_EQ(settings.FindTimeout("s", "t", otherwise, isRefused).count(),
                  timeout != 0 ? timeout : 7);
        EXPECT_EQ(isRefused, timeout == 0) << value;
    }
}

TEST(Context, TellsModeSettingsAndInThreeFormsThatAStopIsRequested) {
    CModuleContext context{
        {kLoaderFlagForceRescan, RUN_MODE_TOVIN},
        std::make_shared<CSwitchSettings>(CSwitchSettings::Parse("[fans]\nspeed=9\n[x]\ny=1"))};
    ASSERT_EQ(context.Open(), 0);
    context.SetName("fans");
    EXPECT_EQ(context.RunMode(), RUN_MODE_TOVIN);
    EXPECT_TRUE(context.IsForceRescan());
    EXPECT_STREQ(context.Setting("speed", "1"), "9");
    EXPECT_STREQ(context.Setting("y", "1st"), "1st");
    EXPECT_EQ(context.Setting(nullptr, nullptr), nullptr);

    std::thread cancelled([&] { context.WaitForStop(ModuleContext::kNoTimeLimit); });
    EXPECT_EQ(pthread_cancel(cancelled.native_handle()), 0);
    cancelled.join();
    const auto isReadable = [&] {
        pollfd entry{context.StopDescriptor(), POLLIN, 0};
        return poll(&entry, 1, 0) == 1;
    };
    EXPECT_FALSE(context.IsStopRequested() || context.WaitForStop(0) || context.WaitForStop(1) ||
                 isReadable());
    std::thread first([&] { EXPECT_TRUE(context.WaitForStop(ModuleContext::kNoTimeLimit)); });
    std::thread second([&] { EXPECT_TRUE(context.WaitForStop(3'600'000)); });
    context.RequestStop();
    context.RequestStop();
    first.join();
    second.join();
    EXPECT_TRUE(context.IsStopRequested() && context.WaitForStop(0) && isReadable());
}

TEST(SystemLoad, IsReadFromTheKernelsFiles) {
    EXPECT_EQ(ParseLoadAverage("0.61 0.42 0.39 1/512 4711\n"), "0.61");
    EXPECT_EQ(ParseLoadAverage(""), "");
    EXPECT_EQ(ParseAvailableMemory("MemFree: 1 kB\nMemAvailable:   16318 kB\nBuffers: 2 kB\n"),
              16318U);
    for (const char* text : {"MemAvailable:", "MemAvailable:   many kB", "MemFree: 1 kB\n"}) {
        EXPECT_EQ(ParseAvailableMemory(text), std::nullopt) << text;
    }
}

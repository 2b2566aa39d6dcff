// The example module under the switch: its whole life in the trace.
#include <filesystem>
#include <string>
#include <vector>

#include "tests/switch/switch_fixture.h"

class Heartbeat : public CSwitchTest {};

TEST_F(Heartbeat, TracesItsWholeLife) {
    std::filesystem::copy_file(MORLA_HEARTBEAT, std::string(kDirectory) + "/heartbeat.so");
    std::filesystem::permissions(std::string(kDirectory) + "/heartbeat.so",
                                 std::filesystem::perms(0755));
    Configure("[heartbeat]\nIntervalSeconds=3600\n");
    ASSERT_TRUE(Load(0, RUN_MODE_AGENTLESS));
    m_Switch->StartAllModules();
    AwaitText("beat 1, load ");
    std::int32_t runLevel = 0;
    Notify(kNotifyStop);
    Notify(kNotifyOsShutdown, &runLevel);
    m_Switch->StopAllModules();
    EXPECT_TRUE(m_Switch->UnloadModules(0));
    for (const char* step :
         {": created", ": run mode 5, force rescan 0, every 3600 s",
          ": the daemon is going to stop", ": the system is going down, run level 0",
          ": asked to stop", ": ended after 1 beats", ": destroyed"}) {
        EXPECT_EQ(TextsWith("HEARTBEAT           " + std::string(step)).size(), 1U) << step;
    }
    EXPECT_TRUE(TextsWith("load unknown").empty());
    EXPECT_TRUE(TextsWith(" 0 KiB available").empty());
}

// The life of modules under the switch, and of those that misbehave. The test program ends with
// threads of given-up modules in place: that it exits with 0, under the leak checker too, is part
// of what is tested.
#include <filesystem>
#include <string>
#include <vector>

#include "tests/switch/switch_fixture.h"

namespace {

constexpr char kGoodLife[] =
    "created; init, mode 0, rescan 0, colour none, shape none; runs, signals blocked; "
    "notice 0x20000 -1; stop; ran, stopped; destroyed";

// Stop and the end of Run may come in either order.
std::string InOrder(std::string life) {
    const std::string swapped = "ran, stopped; stop";
    const std::size_t place = life.find(swapped);
    return place == std::string::npos ? life
                                      : life.replace(place, swapped.size(), "stop; ran, stopped");
}

}  // namespace

class ModuleLife : public CSwitchTest {
protected:
    // Lives through it beside two good modules, which must not notice. `error`: a part of the one
    // entry that names the module and what it did. `isUnloaded`: what UnloadModules returns.
    void LiveThroughWith(const char* module, const char* error, bool isUnloaded) {
        SCOPED_TRACE(module);
        InstallBesideGoodOnes(module);
        EXPECT_EQ(LiveThrough({"alpha", "beta"}), isUnloaded);
        const auto entries = TextsWith(error);
        ASSERT_EQ(entries.size(), 1U) << error;
        EXPECT_NE(entries[0].find(module), std::string::npos) << entries[0];
        EXPECT_EQ(InOrder(Life("alpha")), kGoodLife);
        EXPECT_EQ(InOrder(Life("beta")), kGoodLife);
        TearDown();
        SetUp();
    }
};

TEST_F(ModuleLife, GoesFromLoadToUnloadWithModeFlagAndSettingsHandedOn) {
    Configure("[alpha]\nColour=red\n[beta]\nColour=blue\nShape=round\n");
    Install("alpha");
    Install("beta");
    ASSERT_TRUE(Load(kLoaderFlagForceRescan, RUN_MODE_PLEXA));
    m_Switch->StartAllModules();
    AwaitText("alpha: runs");
    std::int32_t runLevel = 6;
    Notify(kNotifyStop);
    Notify(kNotifyOsShutdown, &runLevel);
    Notify(kNotifyOsShutdown);
    m_Switch->StopAllModules();
    EXPECT_TRUE(m_Switch->UnloadModules(0));
    EXPECT_EQ(InOrder(Life("alpha")),
              "created; init, mode 8, rescan 1, colour red, shape none; runs, signals blocked; "
              "notice 0x20000 -1; notice 0x30000 6; notice 0x30000 -1; stop; ran, stopped; "
              "destroyed");
    EXPECT_EQ(TextsWith("colour blue, shape round").size(), 1U);
    EXPECT_TRUE(TextsWith("ERROR").empty());
}

TEST_F(ModuleLife, FollowsTheOrderOfFileNamesAndUnloadsBackwards) {
    Install("alpha", "20.so");
    Install("beta", "10.so");
    Install("unwilling", ".hidden.so");
    Install("unwilling", "notes.so.old");
    LiveThrough();
    EXPECT_EQ(TextsWith(": created"),
              (std::vector<std::string>{"beta: created", "alpha: created"}));
    EXPECT_EQ(TextsWith(": destroyed"),
              (std::vector<std::string>{"alpha: destroyed", "beta: destroyed"}));
}

TEST_F(ModuleLife, KeepsWhatAModuleDoesWrongFromTheOthers) {
    const std::pair<const char*, const char*> faults[] = {
        {"throws_in_create", "exception in create: thrown on purpose"},
        {"throws_in_init", "exception in Init: thrown on purpose"},
        {"throws_in_run", "exception in Run: thrown on purpose"},
        {"throws_a_number", "throws_a_number: exception in Run"},
        {"throws_in_notice", "exception in OnNotice: thrown on purpose"},
        {"throws_in_stop", "exception in Stop: thrown on purpose"},
        {"ends_its_thread", "Run ended its thread"},
        {"unwilling", "did not initialise"},
        {"nameless", "no proper name"},
        {"objectless", "no object"},
        {"of_another_abi", "built for module ABI 99"},
        {"without_destroy", "does not export morla_module_destroy"},
        {"unresolved", "undefined symbol"},
    };
    for (const auto& [module, error] : faults) {
        LiveThroughWith(module, error, true);
    }
}

TEST_F(ModuleLife, CallsAModuleWhoseRunFailedNoMoreButToDestroyIt) {
    Install("throws_in_run");
    ASSERT_TRUE(Load());
    m_Switch->StartAllModules();
    AwaitText("exception in Run");
    Notify(kNotifyStop);
    m_Switch->StopAllModules();
    EXPECT_TRUE(m_Switch->UnloadModules(0));
    EXPECT_EQ(Life("throws_in_run"),
              "created; init, mode 0, rescan 0, colour none, shape none; runs, signals blocked; "
              "destroyed");
}

TEST_F(ModuleLife, GivesUpAModuleThatHangsAndLeavesItLoaded) {
    const std::pair<const char*, const char*> faults[] = {
        {"hangs_in_create", "given up in create"},    {"hangs_in_init", "given up in Init"},
        {"hangs_in_run", "given up in Run"},          {"hangs_in_notice", "given up in OnNotice"},
        {"hangs_in_stop", "given up in Stop"},        {"hangs_in_destroy", "given up in destroy"},
        {"throws_in_destroy", "given up in destroy"},
    };
    for (const auto& [module, error] : faults) {
        Configure("InitTimeoutMs=1000\nStopTimeoutMs=1000\n");
        LiveThroughWith(module, error, false);
    }
}

TEST_F(ModuleLife, LetsAGivenUpModuleReturnAfterTheSwitchIsClosed) {
    Configure("StopTimeoutMs=1000\n");
    InstallBesideGoodOnes("hangs_in_run");
    EXPECT_FALSE(LiveThrough());
    TearDown();
    m_Switch = nullptr;
    WakeUp("hangs_in_run");
    AwaitText("hangs_in_run: ran");
}

TEST_F(ModuleLife, IsRepeatedOnTheSameSwitchOncePerName) {
    Install("alpha", "1.so");
    Install("alpha", "2.so");
    ASSERT_TRUE(Load());
    EXPECT_FALSE(Load());  // loaded already
    EXPECT_EQ(TextsWith("2.so refused: another one has the name alpha").size(), 1U);
    EXPECT_TRUE(m_Switch->UnloadModules(0));
    EXPECT_TRUE(LiveThrough({"alpha"}));
    EXPECT_EQ(TextsWith("alpha: runs").size(), 1U);
    EXPECT_EQ(TextsWith("alpha: destroyed").size(), 4U) << "the refused ones, too";
}

TEST_F(ModuleLife, IsEndedByTheReleaseOfASwitchThatStillRuns) {
    Install("alpha");
    ASSERT_TRUE(Load());
    m_Switch->StartAllModules();
    m_Library.Release();
    m_Switch = nullptr;
    EXPECT_EQ(TextsWith("alpha: destroyed").size(), 1U);
}

TEST_F(ModuleLife, OfTheExampleModuleIsTraced) {
    const std::string path = std::string(kDirectory) + "/heartbeat.so";
    std::filesystem::copy_file(MORLA_HEARTBEAT, path);
    std::filesystem::permissions(path, std::filesystem::perms(0755));
    Configure("[heartbeat]\nIntervalSeconds=3600\n");
    ASSERT_TRUE(Load(0, RUN_MODE_AGENTLESS));
    m_Switch->StartAllModules();
    AwaitText("beat 1, load ");
    std::int32_t runLevel = 0;
    Notify(kNotifyStop);
    Notify(kNotifyOsShutdown, &runLevel);
    m_Switch->StopAllModules();
    EXPECT_TRUE(m_Switch->UnloadModules(0));
    for (const char* step : {"created", "run mode 5, force rescan 0, every 3600 s",
                             "the daemon is going to stop", "the system is going down, run level 0",
                             "asked to stop", "ended after 1 beats", "destroyed"}) {
        EXPECT_EQ(TextsWith("HEARTBEAT           : " + std::string(step)).size(), 1U) << step;
    }
    EXPECT_TRUE(TextsWith("load unknown").empty() && TextsWith(" 0 KiB available").empty());
}

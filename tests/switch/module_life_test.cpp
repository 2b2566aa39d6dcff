// The life of modules under the switch, and of those that misbehave. The test program ends with
// threads of given-up modules in place: that it exits with 0, under the leak checker too, is part
// of what is tested.
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

struct Fault {
    const char* Module;
    const char* Error;       // a part of the entry that names the module and what it did
    bool IsUnloaded = true;  // what UnloadModules returns
};

}  // namespace

class ModuleLife : public CSwitchTest {
protected:
    void ExpectGoodOnesUntouched() {
        EXPECT_EQ(InOrder(Life("alpha")), kGoodLife);
        EXPECT_EQ(InOrder(Life("beta")), kGoodLife);
    }
    void LiveThroughWith(const Fault& fault) {
        SCOPED_TRACE(fault.Module);
        InstallBesideGoodOnes(fault.Module);
        EXPECT_EQ(LiveThrough({"alpha", "beta"}), fault.IsUnloaded);
        const auto entries = TextsWith(fault.Error);
        EXPECT_EQ(entries.size(), 1U) << fault.Error;
        for (const std::string& entry : entries) {
            EXPECT_NE(entry.find(fault.Module), std::string::npos) << entry;
        }
        ExpectGoodOnesUntouched();
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
    const std::vector<std::string> created = TextsWith(": created");
    EXPECT_EQ(created, (std::vector<std::string>{"beta: created", "alpha: created"}));
    const std::vector<std::string> destroyed = TextsWith(": destroyed");
    EXPECT_EQ(destroyed, (std::vector<std::string>{"alpha: destroyed", "beta: destroyed"}));
}

TEST_F(ModuleLife, KeepsWhatAModuleDoesWrongFromTheOthers) {
    for (const Fault& fault : std::vector<Fault>{
             {"throws_in_create", "exception in create: thrown on purpose"},
             {"throws_in_init", "exception in Init: thrown on purpose"},
             {"throws_in_run", "exception in Run: thrown on purpose"},
             {"throws_a_number", "throws_a_number: exception in Run"},
             {"throws_in_notice", "exception in OnNotice: thrown on purpose"},
             {"throws_in_stop", "exception in Stop: thrown on purpose"},
             {"throws_in_destroy", "given up in destroy", false},
             {"ends_its_thread", "Run ended its thread"},
             {"unwilling", "did not initialise"},
             {"nameless", "no proper name"},
             {"objectless", "no object"},
             {"of_another_abi", "built for module ABI 99"},
             {"without_destroy", "does not export morla_module_destroy"},
             {"unresolved", "undefined symbol"},
         }) {
        LiveThroughWith(fault);
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
    for (const Fault& fault : std::vector<Fault>{
             {"hangs_in_create", "given up in create", false},
             {"hangs_in_init", "given up in Init", false},
             {"hangs_in_run", "given up in Run", false},
             {"hangs_in_notice", "given up in OnNotice", false},
             {"hangs_in_stop", "given up in Stop", false},
             {"hangs_in_destroy", "given up in destroy", false},
         }) {
        Configure("InitTimeoutMs=1000\nStopTimeoutMs=1000\n");
        LiveThroughWith(fault);
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

TEST_F(ModuleLife, LoadsAModuleNameOnce) {
    Install("alpha", "1.so");
    Install("alpha", "2.so");
    EXPECT_TRUE(LiveThrough({"alpha"}));
    EXPECT_EQ(TextsWith("2.so refused: another one has the name alpha").size(), 1U);
    EXPECT_EQ(TextsWith("alpha: runs").size(), 1U);
}

TEST_F(ModuleLife, IsRepeatedOnTheSameSwitch) {
    Install("alpha");
    ASSERT_TRUE(Load());
    EXPECT_FALSE(Load());  // loaded already
    EXPECT_TRUE(m_Switch->UnloadModules(0));
    EXPECT_TRUE(LiveThrough());
    EXPECT_EQ(TextsWith("alpha: destroyed").size(), 2U);
}

TEST_F(ModuleLife, IsEndedByTheReleaseOfASwitchThatStillRuns) {
    Install("alpha");
    ASSERT_TRUE(Load());
    m_Switch->StartAllModules();
    m_Library.Release();
    m_Switch = nullptr;
    EXPECT_EQ(TextsWith("alpha: destroyed").size(), 1U);
}

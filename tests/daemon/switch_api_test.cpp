#include "daemon/switch_api.h"

#include <vector>

#include "tests/daemon/loaded_switch.h"
#include "tests/daemon/trace_log.h"

namespace {

using Lines = std::vector<std::string>;

class CSwitchApiTest : public CTraceLogTest {
protected:
    CSwitchApi m_Api;
};

constexpr char kLoadFailed[] = "SWITCH API          : ## ERROR! Loading modules FAILED!";
constexpr char kUnloadFailed[] = "SWITCH API          : ## ERROR! Unloading modules FAILED!";

}  // namespace

TEST_F(CSwitchApiTest, ForwardsToTheSwitchObject) {
    const CLoadedSwitch library(MORLA_RECORDING_SWITCH);
    ASSERT_TRUE(library.IsLoaded());
    ASSERT_TRUE(m_Api.LoadSwitch());
    EXPECT_TRUE(m_Api.LoadModules({.Flags = 1, .RunMode = RUN_MODE_PLEXA}));
    EXPECT_TRUE(m_Api.UnloadModules(7));
    m_Api.Release();
    EXPECT_EQ(m_Api.Interface(), nullptr);
    m_Api.Release();
    EXPECT_EQ(CLoadedSwitch::Calls(), (Lines{"SW_QueryInterface 0", "LoadModules flags=1 mode=8",
                                             "UnloadModules 7", "SW_Release", "deleted"}))
        << "SW_AddRef is never called, SW_Release once";
}

TEST_F(CSwitchApiTest, ReportsALibraryThatIsMissing) {
    EXPECT_FALSE(m_Api.LoadSwitch());
    EXPECT_EQ(TextsWith("LoadLibrary"),
              Lines{"LoadLibrary: ## ERROR:  libswitch.so: cannot open shared object file: No such "
                    "file or directory"});
    EXPECT_NE(m_Api.LastError(), 0);
    EXPECT_EQ(m_Api.Interface(), nullptr);

    EXPECT_FALSE(m_Api.LoadModules({.Flags = 0, .RunMode = 0}));
    EXPECT_FALSE(m_Api.UnloadModules(0));
    EXPECT_EQ(TextsWith("FAILED"), (Lines{kLoadFailed, kUnloadFailed}));
    m_Api.Release();
}

TEST_F(CSwitchApiTest, FailsWithoutAnObject) {
    {
        const CLoadedSwitch bare(MORLA_BARE_SWITCH);
        ASSERT_TRUE(bare.IsLoaded());
        CSwitchApi api;
        EXPECT_FALSE(api.LoadSwitch());
        api.Release();
    }
    for (const char* misbehaviour : {"refuse", "low-byte", "no-object", "throw-first"}) {
        const CLoadedSwitch library(MORLA_RECORDING_SWITCH, misbehaviour);
        ASSERT_TRUE(library.IsLoaded());
        CSwitchApi api;
        EXPECT_FALSE(api.LoadSwitch()) << misbehaviour;
        EXPECT_EQ(api.Interface(), nullptr) << misbehaviour;
        EXPECT_FALSE(api.LoadSwitch()) << misbehaviour << ": asked again";
        Lines calls = CLoadedSwitch::Calls();
        std::erase(calls, "deleted");  // the first object, when the second took its place
        EXPECT_EQ(calls, (Lines{"SW_QueryInterface 0", "SW_QueryInterface 0"}));
        api.Release();
    }
    const Lines exceptions(2, "SWITCH DLL - Exception during QueryInterface");
    EXPECT_EQ(TextsWith("Exception"), exceptions);
}

TEST_F(CSwitchApiTest, TurnsExceptionsOfAnyTypeIntoAFalseResult) {
    const CLoadedSwitch library(MORLA_RECORDING_SWITCH, "throw");
    ASSERT_TRUE(m_Api.LoadSwitch());
    const std::size_t before = Texts().size();
    EXPECT_FALSE(m_Api.LoadModules({.Flags = 0, .RunMode = 0}));
    EXPECT_FALSE(m_Api.UnloadModules(0));
    const Lines expected{
        // Deliberate: 1 although the flag is not set.
        "SWITCH API          : Loading modules, force rescan = 1",
        "SWITCH DLL - Exception during LoadModules",
        kLoadFailed,
        "SWITCH API          : Unloading modules...",
        "SWITCH DLL - Exception during UnloadModules",
        kUnloadFailed,
    };
    const Lines texts = Texts();
    EXPECT_EQ(Lines(texts.begin() + static_cast<std::ptrdiff_t>(before), texts.end()), expected);
    m_Api.Release();
}

TEST_F(CSwitchApiTest, HandsOnAFalseResultWithoutAMessage) {
    const CLoadedSwitch library(MORLA_RECORDING_SWITCH, "fail");
    ASSERT_TRUE(m_Api.LoadSwitch());
    EXPECT_FALSE(m_Api.LoadModules({.Flags = 6, .RunMode = 0}));
    EXPECT_FALSE(m_Api.UnloadModules(0));
    EXPECT_TRUE(TextsWith("FAILED").empty());
    // Deliberate: the whole flags word, bit 0 set.
    EXPECT_EQ(TextsWith("force rescan"),
              Lines{"SWITCH API          : Loading modules, force rescan = 7"});
    m_Api.Release();
}

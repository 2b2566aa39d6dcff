// Plays the daemon to the built libswitch.so, with a module directory of the test's own.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "morla/switch.h"
#include "tests/daemon/trace_log.h"

// Owner of a library that was opened as the daemon opens its switch.
class CSwitchLibrary {
public:
    CSwitchLibrary();
    ~CSwitchLibrary();
    CSwitchLibrary(const CSwitchLibrary&) = delete;
    CSwitchLibrary& operator=(const CSwitchLibrary&) = delete;

    SW_AddRef_Function AddRef = nullptr;
    SW_Release_Function Release = nullptr;
    SW_QueryInterface_Function QueryInterface = nullptr;

private:
    void* m_Handle;
};

// For each test: tracing on, an empty module directory named in the configuration file, and the
// switch object.
class CSwitchTest : public CTraceLogTest {
protected:
    static constexpr char kDirectory[] = "/var/lib/modules";

    void SetUp() override;
    void TearDown() override;

    // Writes the configuration file: the module directory, and what is to follow.
    static void Configure(std::string_view more);
    // Copies a test module into the directory, as `file` or under its own name. Returns its path.
    static std::string Install(const std::string& module, const std::string& file = "");
    static void InstallBesideGoodOnes(const std::string& module);
    // Opens an installed module that is still loaded and lets what hangs in it go on.
    static void WakeUp(const std::string& module);
    // Waits until an entry contains `part`.
    static void AwaitText(std::string_view part);
    // What the module traced about itself, one step after the other, separated by "; ".
    static std::string Life(const std::string& module);

    bool Load(std::uint32_t flags = 0, std::uint32_t runMode = RUN_MODE_AGENT);
    void Notify(std::uint32_t notice, std::int32_t* runLevel = nullptr);
    // Load, start, the stop notice once the named modules run, stop, unload; the result of the
    // last.
    bool LiveThrough(const std::vector<std::string>& running = {});

    SwitchInterface* m_Switch = nullptr;
    CSwitchLibrary m_Library;
};

#include "tests/switch/switch_fixture.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "base/paths.h"
#include "tests/support/files.h"

CSwitchLibrary::CSwitchLibrary() : m_Handle(dlopen(MORLA_SWITCH, RTLD_NOW | RTLD_GLOBAL)) {
    if (m_Handle == nullptr) {
        ADD_FAILURE() << dlerror();
        return;
    }
    AddRef = reinterpret_cast<SW_AddRef_Function>(dlsym(m_Handle, MORLA_SWITCH_ADD_REF));
    Release = reinterpret_cast<SW_Release_Function>(dlsym(m_Handle, MORLA_SWITCH_RELEASE));
    QueryInterface =
        reinterpret_cast<SW_QueryInterface_Function>(dlsym(m_Handle, MORLA_SWITCH_QUERY_INTERFACE));
}

CSwitchLibrary::~CSwitchLibrary() {
    if (m_Handle != nullptr) {
        dlclose(m_Handle);
    }
}

void CSwitchTest::SetUp() {
    CTraceLogTest::SetUp();
    Remove(kDirectory);
    MakeDirectories(kDirectory);
    Configure("");
    ASSERT_TRUE(m_Library.QueryInterface(0, &m_Switch));
}

void CSwitchTest::TearDown() {
    if (m_Switch != nullptr) {
        m_Library.Release();
    }
}

void CSwitchTest::Configure(std::string_view more) {
    WriteFile(paths::kSwitchConfigFile,
              "[Modules]\nDirectory=" + std::string(kDirectory) + "\n" + std::string(more));
}

std::string CSwitchTest::Install(const std::string& module, const std::string& file) {
    const std::string path = std::string(kDirectory) + "/" + (file.empty() ? module + ".so" : file);
    Remove(path);
    std::filesystem::copy_file(MORLA_TEST_MODULES "/" + module + ".so", path);
    chmod(path.c_str(), 0755);
    return path;
}

void CSwitchTest::InstallBesideGoodOnes(const std::string& module) {
    Install("alpha", "10-alpha.so");
    Install(module, "50-" + module + ".so");
    Install("beta", "90-beta.so");
}

void CSwitchTest::WakeUp(const std::string& module) {
    const std::string path = std::string(kDirectory) + "/50-" + module + ".so";
    void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(handle, nullptr) << path << " is not loaded any more";
    reinterpret_cast<void (*)()>(dlsym(handle, "WakeUp"))();
    dlclose(handle);
}

void CSwitchTest::AwaitText(std::string_view part) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (TextsWith(part).empty()) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "never traced: " << part;
        std::this_thread::yield();
    }
}

std::string CSwitchTest::Life(const std::string& module) {
    const std::string tag = module + ": ";
    std::string life;
    for (const std::string& text : Texts()) {
        if (text.starts_with(tag)) {
            life += (life.empty() ? "" : "; ") + text.substr(tag.size());
        }
    }
    return life;
}

bool CSwitchTest::Load(std::uint32_t flags, std::uint32_t runMode) {
    return m_Switch->LoadModules({flags, runMode});
}

void CSwitchTest::Notify(std::uint32_t notice, std::int32_t* runLevel) {
    m_Switch->Notify(notice, runLevel, 0);
}

bool CSwitchTest::LiveThrough(const std::vector<std::string>& running) {
    EXPECT_TRUE(Load());
    m_Switch->StartAllModules();
    for (const std::string& module : running) {
        AwaitText(module + ": runs");
    }
    Notify(kNotifyStop);
    m_Switch->StopAllModules();
    return m_Switch->UnloadModules(0);
}

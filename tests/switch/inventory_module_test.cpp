// The inventory module under the real switch, on a machine of files.
#include <filesystem>
#include <string>

#include "tests/support/files.h"
#include "tests/switch/switch_fixture.h"

namespace {

constexpr char kLast[] = "/var/lib/morla/inventory/last.json";
constexpr char kPrevious[] = "/var/lib/morla/inventory/previous.json";

void AddFunction(const std::string& device) {
    const std::string header("\x86\x80\x33\x15\0\0\0\0\3\0\0\2", 12);
    WriteFile("/proc/bus/pci/00/" + device, header + std::string(52, '\0'));
    MakeDirectories("/sys/bus/pci/devices/0000:00:" + device);
}

bool Holds(const char* file, const char* device) {
    return ReadFile(file).find("\"0000:00:" + std::string(device) + "\"") != std::string::npos;
}

}  // namespace

class InventoryModule : public CSwitchTest {
protected:
    void SetUp() override {
        CSwitchTest::SetUp();
        Configure("[inventory]\nIntervalSeconds=1\n");
        std::filesystem::copy_file(MORLA_INVENTORY, std::string(kDirectory) + "/inventory.so");
        AddFunction("01.0");
    }
    void Start(std::uint32_t flags) {
        ASSERT_TRUE(Load(flags));
        m_Switch->StartAllModules();
        AwaitText("INVENTORY           : stored, ");
    }
    void Stop() {
        m_Switch->StopAllModules();
        EXPECT_TRUE(m_Switch->UnloadModules(0));
    }
};

TEST_F(InventoryModule, StoresWhatIsThereAndTracesWhatComes) {
    Start(0);
    EXPECT_TRUE(Holds(kLast, "01.0"));
    EXPECT_FALSE(Exists(kPrevious));
    AddFunction("02.0");
    AwaitText("INVENTORY           : came: PCI function 0000:00:02.0 (8086:1533)");
    AwaitText("INVENTORY           : stored, 1 changes");
    EXPECT_TRUE(Holds(kLast, "02.0"));
    EXPECT_FALSE(Holds(kPrevious, "02.0"));
    Stop();

    // The next start compares with what is stored; forced, it keeps that in any case.
    TearDown();
    SetUp();
    Start(0);
    EXPECT_FALSE(Holds(kPrevious, "02.0"));
    Stop();
    TearDown();
    SetUp();
    Start(kLoaderFlagForceRescan);
    EXPECT_TRUE(Holds(kPrevious, "02.0"));
    Stop();
}

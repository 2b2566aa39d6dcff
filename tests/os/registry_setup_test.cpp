// Reading the tree at the first use.
#include "tests/os/registry_fixture.h"
#include "tests/support/files.h"
#include "tests/support/fresh_process.h"

namespace {

using RegistrySetup = CRegistryTest;

std::string Line(const char* before, const char* file, const char* after) {
    return std::string("CRegistry: ") + before + " \"/etc/quorvat/registry" + file + "\"" + after;
}

TEST_F(RegistrySetup, FallsBackToBackupAndDefaults) {
    const std::string noBackup =
        Line("WARNING: Could not restore tree from", "", ", trying backup");
    const std::string noDefault =
        Line("WARNING: Could not restore tree from", ".old", ", trying default");
    const auto notOpen = [](const char* file) {
        return Line("WARNING: Could not open", file, "");
    };
    struct {
        const char* What;
        std::vector<std::pair<const char*, std::string>> Files;
        unsigned int Value;  // 0: none
        std::vector<std::string> Traces;
    } const kCases[] = {
        {"the file", {{kFile, MachineTree("v=d=1\n")}, {kOld, MachineTree("v=d=2\n")}}, 1, {}},
        {"the backup behind an empty file",
         {{kFile, ""}, {kOld, MachineTree("v=d=2\n")}},
         2,
         {Line("WARNING: The length of", "", " is not sufficient"), noBackup}},
        {"the defaults behind a file without entries",
         {{kFile, "\nv=d=1\n"}, {kDefault, MachineTree("v=d=3\n")}},
         3,
         {Line("WARNING: Node restoring from", "", " failed - check the content of this file"),
          noBackup, notOpen(".old"), noDefault}},
        {"nothing",
         {},
         0,
         {notOpen(""), noBackup, notOpen(".old"), noDefault, notOpen(".default"),
          Line("ERROR: Could not restore tree from", ".default", ", restoring failed"),
          "CRegistry::InitClass() : re-initialize the registry-tree"}},
    };
    for (const auto& each : kCases) {
        SCOPED_TRACE(each.What);
        SetUp();
        for (const auto& [file, text] : each.Files) {
            WriteFile(file, text);
        }
        InFreshProcess([&] {
            StartTrace();
            CRegistry registry;
            std::vector<std::string> traces{
                "CRegistry::InitClass",
                "CRegistry: SetupTree(): ForceSetup=0, MIsSetup=0, MIsDirty=0"};
            traces.insert(traces.end(), each.Traces.begin(), each.Traces.end());
            EXPECT_EQ(TraceTexts(), traces);
            EXPECT_EQ(registry.Open(kMachine, nullptr, -1), 0);
            unsigned int value = 0;
            EXPECT_EQ(registry.QueryValue(&value, "v"), each.Value == 0 ? 61 : 0);
            EXPECT_EQ(value, each.Value);
        });
        EXPECT_EQ(ReadFile(kFile), each.Files.empty() ? "" : each.Files.front().second)
            << "saved without a change";
    }
}

TEST_F(RegistrySetup, RepairsThePredefinedKeysOnlyWithoutLocalMachine) {
    WriteFile(kFile, "HKEY_LOCAL_MACHINE=s=value\n[HKEY_USERS]\nv=d=1\n\n\n");
    InFreshProcess([] {
        EXPECT_EQ(CRegistry::Hive(RegistryHive::Users), nullptr) << "before the first handle";
        const CRegistry registry;
        EXPECT_EQ(TreeText(),
                  "[HKEY_CLASSES_ROOT]\n\n[HKEY_CURRENT_CONFIG]\n\n"
                  "[HKEY_CURRENT_USER]\n\n[HKEY_LOCAL_MACHINE]\n\n"
                  "[HKEY_USERS]\nv=d=1\n\n\n");
        EXPECT_NE(CRegistry::Hive(RegistryHive::CurrentConfig), nullptr);
    });
    WriteFile(kFile, MachineTree(""));
    InFreshProcess([] {
        const CRegistry registry;
        EXPECT_EQ(TreeText(), MachineTree(""));
        EXPECT_NE(CRegistry::Hive(RegistryHive::LocalMachine), nullptr);
        EXPECT_EQ(CRegistry::Hive(RegistryHive::Users), nullptr);
    });
}

TEST_F(RegistrySetup, ForcedReadsAgainOverTheTree) {
    WriteFile(kFile, "kept=d=1\n[A]\nv=d=1\n\n" + MachineTree("v=d=1\n"));
    InFreshProcess([] {
        CRegistry open;
        ASSERT_EQ(open.Open(kMachine, nullptr, -1), 0);
        WriteFile(kFile, MachineTree("v=d=2\n"));
        CRegistry::SetupTree(false);
        unsigned int value = 0;
        EXPECT_EQ(open.QueryValue(&value, "v"), 0);
        EXPECT_EQ(value, 1U);
        CRegistry::SetupTree(true);
        EXPECT_EQ(TreeText(), "kept=d=1\n[A]\nv=d=1\n\n" + MachineTree("v=d=2\n"));
        EXPECT_EQ(open.QueryValue(&value, "v"), 22) << "its key was replaced";
        EXPECT_EQ(open.QueryValue(&value, "v", CRegistry::Hive(RegistryHive::LocalMachine)), 0);
        EXPECT_EQ(value, 2U);
    });
}

TEST_F(RegistrySetup, ReadTreeReportsWhatItCannotRead) {
    InFreshProcess([] {
        StartTrace();
        CRegistryNode node;
        EXPECT_FALSE(CRegistry::ReadTree(nullptr, node));
        EXPECT_FALSE(CRegistry::ReadTree("/etc", node));
        EXPECT_EQ(TraceTexts(),
                  (std::vector<std::string>{
                      "CRegistry: ERROR: Empty file path",
                      "CRegistry: WARNING: Node restoring from \"/etc\" failed - check the content "
                      "of this file"}));
    });
}

}  // namespace

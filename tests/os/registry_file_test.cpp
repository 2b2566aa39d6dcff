// Reading the tree at the first use, and saving it: what is written, when, and what a crash or a
// full disk leaves.
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <functional>
#include <thread>

#include "tests/os/registry_fixture.h"
#include "tests/support/syscall_killer.h"

namespace {

class RegistryFile : public CRegistryTest {
protected:
    static void SetMachineValue(const char* name, const char* text) {
        CRegistryNode* machine = Machine();
        EXPECT_EQ(CRegistry(machine).SetValue(name, text), 0);
    }
};

TEST_F(RegistryFile, FallsBackToBackupAndDefaults) {
    const struct {
        const char* File;  // null: there is none
        bool HasBackup, HasDefaults;
        unsigned int Value;  // 0: none
        const char* Traces;
        mode_t Mode = 0644;
    } kCases[] = {
        {"[HKEY_LOCAL_MACHINE]\nv=d=1\n\n\n", true, true, 1, ""},
        {"[HKEY_LOCAL_MACHINE]\nv=d=1\n\n\n", true, true, 1,
         "CRegistry: WARNING: /etc/quorvat/registry: can be written by group or others\n", 0646},
        {"", true, true, 2,
         R"(CRegistry: WARNING: The length of "/etc/quorvat/registry" is not sufficient
CRegistry: WARNING: Could not restore tree from "/etc/quorvat/registry", trying backup
)"},
        {"\nv=d=1\n", false, true, 3,
         R"(CRegistry: WARNING: Node restoring from "/etc/quorvat/registry" failed - check the content of this file
CRegistry: WARNING: Could not restore tree from "/etc/quorvat/registry", trying backup
CRegistry: WARNING: Could not open "/etc/quorvat/registry.old"
CRegistry: WARNING: Could not restore tree from "/etc/quorvat/registry.old", trying default
)"},
        {nullptr, false, false, 0, R"(CRegistry: WARNING: Could not open "/etc/quorvat/registry"
CRegistry: WARNING: Could not restore tree from "/etc/quorvat/registry", trying backup
CRegistry: WARNING: Could not open "/etc/quorvat/registry.old"
CRegistry: WARNING: Could not restore tree from "/etc/quorvat/registry.old", trying default
CRegistry: WARNING: Could not open "/etc/quorvat/registry.default"
CRegistry: ERROR: Could not restore tree from "/etc/quorvat/registry.default", restoring failed
CRegistry::InitClass() : re-initialize the registry-tree
)"},
    };
    for (const auto& each : kCases) {
        SetUp();
        const std::pair<const char*, std::string> files[] = {
            {each.File != nullptr ? kFile : nullptr, each.File != nullptr ? each.File : ""},
            {each.HasBackup ? kOld : nullptr, MachineTree("v=d=2\n")},
            {each.HasDefaults ? kDefault : nullptr, MachineTree("v=d=3\n")}};
        for (const auto& [file, text] : files) {
            if (file != nullptr) {
                WriteFile(file, text);
                chmod(file, each.Mode);
            }
        }
        InFreshProcess([&] {
            StartGlobal(2);
            EXPECT_EQ(Machine(), nullptr) << "before the first handle";
            CRegistry registry;
            EXPECT_EQ(Traced("ForceSetup=0, MIsSetup=0, MIsDirty=0|InitClass$"), each.Traces);
            unsigned int value = 0;
            registry.QueryValue(&value, "v", Machine());
            EXPECT_EQ(value, each.Value);
        });
        EXPECT_EQ(ReadFile(kFile), files[0].second) << "saved without a change";
    }
}

TEST_F(RegistryFile, RepairsThePredefinedKeysOnlyWithoutLocalMachineAndReadsAgainWhenForced) {
    WriteFile(kFile, "HKEY_LOCAL_MACHINE=s=value\n[HKEY_USERS]\n\n\n");
    InFreshProcess([] {
        EXPECT_EQ(TreeText(), WholeTree(""));
        EXPECT_NE(CRegistry::Hive(RegistryHive::CurrentConfig), nullptr);
    });
    const std::string rest = "kept=d=1\n[A]\nv=d=1\n\n";
    WriteFile(kFile, rest + MachineTree("v=d=1\n"));
    InFreshProcess([&] {
        CRegistry open;
        EXPECT_EQ(open.Open("HKEY_LOCAL_MACHINE", nullptr, -1), 0);
        EXPECT_EQ(CRegistry::Hive(RegistryHive::Users), nullptr);
        WriteFile(kFile, MachineTree("v=d=2\n"));
        CRegistry::SetupTree(false);
        EXPECT_EQ(TreeText(), rest + MachineTree("v=d=1\n"));
        CRegistry::SetupTree(true);
        EXPECT_EQ(TreeText(), rest + MachineTree("v=d=2\n"));
        unsigned int value = 0;
        EXPECT_EQ(open.QueryValue(&value, "v"), 22) << "its key was replaced";
        StartGlobal(2);
        CRegistryNode node;
        EXPECT_FALSE(CRegistry::ReadTree(nullptr, node) || CRegistry::ReadTree("/etc", node));
        EXPECT_EQ(Traced(), R"(CRegistry: ERROR: Empty file path
CRegistry: WARNING: Node restoring from "/etc" failed - check the content of this file
)");
    });
}

TEST_F(RegistryFile, IsWrittenWhenAHandleGoesAfterAChange) {
    InFreshProcess([&] {
        {
            CRegistry key;
            EXPECT_EQ(key.Open("HKEY_LOCAL_MACHINE", nullptr, -1), 0);
            const unsigned char bytes[] = {0x0A, 0xFF};
            EXPECT_TRUE(key.SetValue("b", bytes, 2, kRegBinary));
            EXPECT_EQ(key.SetValue("d", 0x80000000U), 0);
            EXPECT_EQ(key.SetValue("a=b", "text"), 0);
            EXPECT_EQ(key.CreateKey(nullptr, "Sub", false, -1), 0);
            EXPECT_FALSE(Exists(kFile));
        }
        EXPECT_EQ(ReadFile(kFile), WholeTree("a=b=s=text\nb=b=0a ff \nd=d=-2147483648\n[Sub]\n\n"));
        struct stat status {};
        EXPECT_EQ(stat(kFile, &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, 0644U);
        EXPECT_FALSE(Exists(kOld) || Exists(kNew));
    });
    InFreshProcess([&] {
        CRegistry key;
        EXPECT_EQ(key.Open("HKEY_LOCAL_MACHINE", nullptr, -1), 0);
        EXPECT_EQ(key.GetValueSize("a=b"), 0);
        EXPECT_EQ(key.DeleteValue("a"), 0) << "what the name was cut to";
        EXPECT_EQ(key.DeleteKey("Sub"), 0);
    });
    EXPECT_EQ(ReadFile(kFile), WholeTree("b=b=0a ff \nd=d=-2147483648\n"));
    const std::string backup = MachineTree("v=s=backup\n");
    WriteFile(kFile, "");
    WriteFile(kOld, backup);
    InFreshProcess([] {
        const CRegistry registry;
        SetMachineValue("w", "new");
    });
    EXPECT_EQ(ReadFile(kFile), MachineTree("v=s=backup\nw=s=new\n"));
    EXPECT_EQ(ReadFile(kOld), backup) << "kept, since the file was empty";
}

// Each step leaves the registry file away and asks whether the next handle wrote it again.
TEST_F(RegistryFile, IsDirtyAfterEveryAttemptThatCouldChange) {
    InFreshProcess([&] {
        { EXPECT_EQ(CRegistry().CreateKey(Machine(), "A", false, -1), 0); }
        const struct {
            const char* What;
            void (*Step)(CRegistry& key);
            bool IsDirty;
        } kCases[] = {
            {"reading", [](CRegistry& key) { key.GetValue("v"); }, false},
            {"no type", [](CRegistry& key) { key.SetValue("v", nullptr, 0, 0); }, true},
            {"no key", [](CRegistry& key) { key.Close(), key.SetValue("v", 1U); }, true},
            {"no value name", [](CRegistry& key) { key.DeleteValue(nullptr); }, true},
            {"no value", [](CRegistry& key) { key.DeleteValue("none"); }, true},
            {"no key", [](CRegistry& key) { key.Close(), key.DeleteValue("v"); }, false},
            {"a key", [](CRegistry& key) { key.CreateKey(nullptr, "", 0, 0); }, false},
            {"a new key", [](CRegistry& key) { key.CreateKey(nullptr, "B", 0, 0); }, true},
            {"no such key", [](CRegistry& key) { key.DeleteKey("none"); }, false},
            {"a deleted key", [](CRegistry& key) { key.DeleteKey("B"); }, true},
        };
        for (const auto& each : kCases) {
            Remove(kFile);
            {
                CRegistry key;
                EXPECT_EQ(key.Open("HKEY_LOCAL_MACHINE/A", nullptr, -1), 0);
                each.Step(key);
            }
            EXPECT_EQ(Exists(kFile), each.IsDirty) << each.What;
        }
    });
}

TEST_F(RegistryFile, IsNotSavedAgainAfterAFailedOpenNorReplacedByATornOne) {
    MakeDirectories(kNew);
    InFreshProcess([&] {
        StartGlobal(2);
        { const CRegistry registry; }
        SetMachineValue("v", "lost");
        Remove(kNew);
        { const CRegistry registry; }
        EXPECT_FALSE(Exists(kFile));
        SetMachineValue("w", "saved");
        EXPECT_EQ(ReadFile(kFile), WholeTree("v=s=lost\nw=s=saved\n"));
        EXPECT_EQ(Traced("InitClass|SetupTree|WARNING|SetValue|Could not restore"),
                  R"(CRegistry: ERROR: Cannot open "/etc/quorvat/registry.new" for writing
CRegistry::SaveTree MPRegistryTemp[/etc/quorvat/registry.new] 	 MPRegistry[/etc/quorvat/registry]
)");
    });
    ASSERT_EQ(mount("tmpfs", "/etc/quorvat", "tmpfs", 0, "size=64k,mode=755"), 0);
    const std::string good = MachineTree("v=s=good\n");
    WriteFile(kFile, good);
    InFreshProcess([&] {
        StartGlobal(1);
        { const CRegistry registry; }
        SetMachineValue("big", std::string(200'000, 'x').c_str());
        EXPECT_EQ(
            Traced("InitClass|SetupTree|SetValue"),
            R"(CRegistry: ERROR: Cannot write "/etc/quorvat/registry.new" (errno=28: No space left on device), tree not saved
)");
    });
    EXPECT_EQ(ReadFile(kFile), good);
    EXPECT_FALSE(Exists(kNew) || Exists(kOld));
    umount("/etc/quorvat");
}

// Wherever a save is cut off, the next process finds the whole old tree or the whole new one.
TEST_F(RegistryFile, SurvivesACrashAtEverySystemCall) {
    const std::string before = MachineTree("v=s=old\n");
    const std::string after = MachineTree("v=s=new\n");
    bool wasKilled = true;
    int oldTrees = 0;
    int newTrees = 0;
    int fallBacks = 0;
    for (std::size_t ordinal = 1; wasKilled; ++ordinal) {
        SetUp();
        WriteFile(kFile, before);
        WriteFile(kOld, MachineTree("v=s=older\n"));
        std::unique_ptr<CRegistry> registry;
        const auto prepare = [&] {
            registry = std::make_unique<CRegistry>();
            (void)registry->Open("HKEY_LOCAL_MACHINE", nullptr, -1);
            (void)registry->SetValue("v", "new");
        };
        const KilledRun run = KillAtSystemCall(ordinal, prepare, [&] { registry.reset(); });
        if (!run.IsTraceable) {
            GTEST_SKIP() << "no process may be traced here";
        }
        wasKilled = run.WasKilled;
        ASSERT_LT(ordinal, 100U);
        fallBacks += Exists(kFile) ? 0 : 1;
        InFreshProcess([&] {
            const std::string found = TreeText();
            EXPECT_TRUE(found == before || found == after) << ordinal << ": " << found;
            SetMachineValue("w", "next");  // and the next save works
        });
        const bool isOld = ReadFile(kFile) == MachineTree("v=s=old\nw=s=next\n");
        EXPECT_TRUE(isOld || ReadFile(kFile) == MachineTree("v=s=new\nw=s=next\n"));
        (isOld ? oldTrees : newTrees) += 1;
        if (!wasKilled) {
            // On the disk before it replaces, and the replacement too.
            const auto end = run.Calls.end();
            const auto rename = std::find(run.Calls.begin(), end, SYS_rename);
            EXPECT_LT(std::find(run.Calls.begin(), end, SYS_fsync), rename);
            const auto second = std::find(rename + 1, end, SYS_rename);
            EXPECT_NE(std::find(second, end, SYS_fsync), end);
        }
    }
    EXPECT_GT(oldTrees, 3);
    EXPECT_GT(newTrees, 1);
    EXPECT_EQ(fallBacks, 1) << "killed between the two renames";
}

TEST_F(RegistryFile, LosesNothingInTwentyThreads) {
    const auto value = [](int thread, int round) {
        return std::to_string(thread) + "." + std::to_string(round);
    };
    const auto write = [&](int thread) {
        for (int round = 0; round < 12; ++round) {
            CRegistry key;
            CRegistryNode* machine = Machine();
            const auto path = "SOFTWARE\\Thread" + std::to_string(thread % 10);  // two on each key
            EXPECT_EQ(key.CreateKey(machine, path.c_str(), false, -1), 0);
            EXPECT_EQ(key.SetValue(value(thread, round).c_str(), "text"), 0);
            // A key that all threads make, use and delete under each other.
            if (key.CreateKey(machine, "Shared/Deep", false, -1) == 0) {
                key.SetValue("v", 1U);
                char text[8];
                key.EnumVal(text, sizeof text, 0, kRegAnyValue, nullptr, 0);
            }
            CRegistry parent(machine);
            parent.DeleteKey("Shared");
            parent.DeleteValue("Shared");
        }
    };
    InFreshProcess([&] {
        std::vector<std::thread> threads;
        for (int thread = 0; thread < 20; ++thread) {
            threads.emplace_back(write, thread);
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    });
    const std::string tree = ReadFile(kFile);
    for (int i = 0; i < 20 * 12; ++i) {
        EXPECT_NE(tree.find("\n" + value(i / 12, i % 12) + "=s=text\n"), std::string::npos) << i;
    }
}

}  // namespace

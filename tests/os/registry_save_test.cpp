// Saving the tree: what is written, when, and what a crash or a full disk leaves.
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "tests/os/registry_fixture.h"
#include "tests/support/files.h"
#include "tests/support/fresh_process.h"
#include "tests/support/syscall_killer.h"

namespace {

using RegistrySave = CRegistryTest;

void SetMachineValue(const char* name, const char* text) {
    CRegistryNode* machine = CRegistry::Hive(RegistryHive::LocalMachine);
    CRegistry registry(machine);
    EXPECT_EQ(registry.SetValue(name, text), 0);
}

TEST_F(RegistrySave, WritesTheTreeWhenAHandleGoesAfterAChange) {
    InFreshProcess([&] {
        {
            CRegistry registry;
            EXPECT_EQ(registry.Open(kMachine, nullptr, -1), 0);
            const unsigned char bytes[] = {0x0A, 0xFF};
            EXPECT_TRUE(registry.SetValue("b", bytes, 2, kRegBinary));
            EXPECT_TRUE(registry.SetValue("e", bytes, 0, kRegBinary));
            EXPECT_EQ(registry.SetValue("d", 0x80000000U), 0);
            EXPECT_EQ(registry.SetValue("a=b", "text"), 0);
            EXPECT_EQ(registry.CreateKey(nullptr, "Sub", false, -1), 0);
            EXPECT_FALSE(Exists(kFile));
        }
        constexpr char kContent[] = "a=b=s=text\nb=b=0a ff \nd=d=-2147483648\ne=b=\n[Sub]\n\n";
        std::string expected = kEmptyTree;
        expected.insert(expected.find("[HKEY_LOCAL_MACHINE]\n") + 21, kContent);
        EXPECT_EQ(ReadFile(kFile), expected);
        struct stat status {};
        EXPECT_EQ(stat(kFile, &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, 0644U);
        EXPECT_FALSE(Exists(kOld));
        EXPECT_FALSE(Exists(kNew));
    });
    InFreshProcess([&] {
        CRegistry registry;
        EXPECT_EQ(registry.Open(kMachine, nullptr, -1), 0);
        EXPECT_EQ(registry.GetValueSize("a=b"), 0);
        EXPECT_EQ(registry.DeleteValue("a"), 0) << "what the name was cut to";
        EXPECT_EQ(registry.DeleteKey("Sub"), 0);
    });
    EXPECT_NE(ReadFile(kFile).find("[HKEY_LOCAL_MACHINE]\nb=b=0a ff \nd=d=-2147483648\ne=b=\n\n"),
              std::string::npos);
    EXPECT_NE(ReadFile(kOld).find("a=b=s=text\n"), std::string::npos) << "the backup";
}

// Each step leaves the registry file away and asks whether the next handle wrote it again.
TEST_F(RegistrySave, IsDirtyAfterEveryAttemptThatCouldChange) {
    InFreshProcess([&] {
        {
            CRegistry first;
            ASSERT_EQ(first.CreateKey(CRegistry::Hive(RegistryHive::LocalMachine), "A", false, -1),
                      0);
        }
        struct {
            const char* What;
            std::function<void(CRegistry&)> Step;
            bool IsDirty;
        } const kCases[] = {
            {"reading", [](CRegistry& key) { key.GetValue("v"); }, false},
            {"a value that cannot be stored",
             [](CRegistry& key) {
                 EXPECT_FALSE(key.SetValue("v", reinterpret_cast<const unsigned char*>("123"), 3,
                                           kRegDword));
             },
             true},
            {"no key open",
             [](CRegistry& key) {
                 key.Close();
                 EXPECT_EQ(key.SetValue("v", 1U), 22);
             },
             true},
            {"a value without a name", [](CRegistry& key) { key.DeleteValue(nullptr); }, true},
            {"a value that is missing", [](CRegistry& key) { key.DeleteValue("none"); }, true},
            {"deleting without a key",
             [](CRegistry& key) {
                 key.Close();
                 key.DeleteValue("v");
             },
             false},
            {"a key that exists", [](CRegistry& key) { key.CreateKey(nullptr, "", 0, 0); }, false},
            {"a new key", [](CRegistry& key) { key.CreateKey(nullptr, "B", 0, 0); }, true},
            {"a key that is missing", [](CRegistry& key) { key.DeleteKey("none"); }, false},
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

TEST_F(RegistrySave, KeepsTheBackupWhenTheFileIsEmpty) {
    WriteFile(kFile, "");
    WriteFile(kOld, MachineTree("v=s=backup\n"));
    InFreshProcess([] {
        const CRegistry registry;
        SetMachineValue("w", "new");
    });
    EXPECT_EQ(ReadFile(kFile), MachineTree("v=s=backup\nw=s=new\n"));
    EXPECT_EQ(ReadFile(kOld), MachineTree("v=s=backup\n"));
}

TEST_F(RegistrySave, IsNotTriedAgainAfterAFailedOpen) {
    MakeDirectories(kNew);
    InFreshProcess([&] {
        StartTrace();
        { const CRegistry registry; }
        SetMachineValue("v", "lost");
        Remove(kNew);
        { const CRegistry registry; }
        EXPECT_FALSE(Exists(kFile));
        SetMachineValue("w", "saved");
        EXPECT_NE(ReadFile(kFile).find("v=s=lost\nw=s=saved\n"), std::string::npos);
        const auto texts =
            TraceTexts({"InitClass", "SetupTree", "WARNING", "SetValue", "Could not restore"});
        EXPECT_EQ(texts, (std::vector<std::string>{
                             "CRegistry: ERROR: Cannot open \"/etc/quorvat/registry.new\" for "
                             "writing",
                             "CRegistry::SaveTree MPRegistryTemp[/etc/quorvat/registry.new] \t "
                             "MPRegistry[/etc/quorvat/registry]"}));
    });
}

TEST_F(RegistrySave, RefusesToReplaceAGoodFileByATornOne) {
    ASSERT_EQ(mount("tmpfs", "/etc/quorvat", "tmpfs", 0, "size=64k"), 0);
    const std::string good = MachineTree("v=s=good\n");
    WriteFile(kFile, good);
    InFreshProcess([&] {
        StartTrace();
        { const CRegistry registry; }
        SetMachineValue("big", std::string(200'000, 'x').c_str());
        EXPECT_EQ(TraceTexts({"InitClass", "SetupTree", "SetValue"}),
                  (std::vector<std::string>{
                      "CRegistry: ERROR: Cannot write \"/etc/quorvat/registry.new\" (errno=28: No "
                      "space left on device), tree not saved"}));
    });
    EXPECT_EQ(ReadFile(kFile), good);
    EXPECT_FALSE(Exists(kNew));
    EXPECT_FALSE(Exists(kOld));
    umount("/etc/quorvat");
}

// Wherever a save is cut off, the next process finds the whole old tree or the whole new one.
TEST_F(RegistrySave, SurvivesACrashAtEverySystemCall) {
    const std::string before = MachineTree("v=s=old\n");
    const std::string after = MachineTree("v=s=new\n");
    bool wasKilled = true;
    std::size_t oldTrees = 0;
    std::size_t newTrees = 0;
    std::size_t fallBacks = 0;
    for (std::size_t ordinal = 1; wasKilled; ++ordinal) {
        SetUp();
        WriteFile(kFile, before);
        WriteFile(kOld, MachineTree("v=s=older\n"));
        std::unique_ptr<CRegistry> registry;
        const KilledRun run = KillAtSystemCall(
            ordinal,
            [&] {
                registry = std::make_unique<CRegistry>();
                (void)registry->Open(kMachine, nullptr, -1);
                (void)registry->SetValue("v", "new");
            },
            [&] { registry.reset(); });
        if (!run.IsTraceable) {
            GTEST_SKIP() << "no process may be traced here";
        }
        wasKilled = run.WasKilled;
        ASSERT_LT(ordinal, 100U);
        fallBacks += Exists(kFile) ? 0U : 1U;
        InFreshProcess([&] {
            const std::string found = TreeText();
            EXPECT_TRUE(found == before || found == after) << ordinal << ": " << found;
            SetMachineValue("w", "next");  // and the next save works
        });
        const std::string saved = ReadFile(kFile);
        EXPECT_NE(saved.find("w=s=next\n"), std::string::npos);
        (saved.find("v=s=old\n") != std::string::npos ? oldTrees : newTrees) += 1;
        if (!wasKilled) {
            // On the disk before it replaces, and the replacement too.
            const auto fileSync = std::find(run.Calls.begin(), run.Calls.end(), SYS_fsync);
            const auto rename = std::find(run.Calls.begin(), run.Calls.end(), SYS_rename);
            const auto second = std::find(rename + 1, run.Calls.end(), SYS_rename);
            EXPECT_LT(fileSync, rename);
            EXPECT_NE(second, run.Calls.end());
            EXPECT_NE(std::find(second, run.Calls.end(), SYS_fsync), run.Calls.end());
        }
    }
    EXPECT_GT(oldTrees, 3U);
    EXPECT_GT(newTrees, 1U);
    EXPECT_EQ(fallBacks, 1U) << "killed between the two renames";
}

TEST_F(RegistrySave, TwentyThreadsLoseNothing) {
    constexpr int kThreads = 20;
    constexpr int kRounds = 12;
    const auto path = [](int thread) {
        return "SOFTWARE\\Thread" + std::to_string(thread % 10);  // two threads on each key
    };
    InFreshProcess([&] {
        std::vector<std::thread> threads;
        for (int thread = 0; thread < kThreads; ++thread) {
            threads.emplace_back([&path, thread] {
                for (int round = 0; round < kRounds; ++round) {
                    CRegistry key;
                    CRegistryNode* machine = CRegistry::Hive(RegistryHive::LocalMachine);
                    EXPECT_EQ(key.CreateKey(machine, path(thread).c_str(), false, -1), 0);
                    const auto name = std::to_string(thread) + "." + std::to_string(round);
                    EXPECT_EQ(key.SetValue(name.c_str(), static_cast<unsigned int>(round)), 0);
                    unsigned int value = 0;
                    EXPECT_EQ(key.QueryValue(&value, name.c_str()), 0);
                    // A key that all threads make, use and delete under each other.
                    CRegistry shared;
                    if (shared.CreateKey(machine, "Shared/Deep", false, -1) == 0) {
                        shared.SetValue("v", name.c_str());
                        char text[8];
                        shared.EnumVal(text, sizeof text, 0, kRegAnyValue, nullptr, 0);
                    }
                    CRegistry parent(machine);
                    parent.DeleteKey("Shared");
                    parent.DeleteValue("Shared");
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    });
    InFreshProcess([&] {
        CRegistry key;
        for (int thread = 0; thread < kThreads; ++thread) {
            EXPECT_EQ(
                key.Open(path(thread).c_str(), CRegistry::Hive(RegistryHive::LocalMachine), -1), 0);
            for (int round = 0; round < kRounds; ++round) {
                unsigned int value = 0;
                const auto name = std::to_string(thread) + "." + std::to_string(round);
                EXPECT_EQ(key.QueryValue(&value, name.c_str()), 0) << name;
                EXPECT_EQ(value, static_cast<unsigned int>(round));
            }
        }
    });
}

}  // namespace

// What the tests of the registry share: the tree files of a private root, and the trace.
#pragma once

#include <string>
#include <string_view>

#include "os/registry.h"
#include "tests/os/global_trace.h"
#include "tests/support/files.h"
#include "tests/support/fresh_process.h"

// Starts every test with an empty registry folder. The process that runs the tests never uses the
// registry itself: every case runs in a child, whose tree is not set up yet.
class CRegistryTest : public CGlobalTraceTest {
protected:
    static constexpr char kFile[] = "/etc/quorvat/registry";
    static constexpr char kOld[] = "/etc/quorvat/registry.old";
    static constexpr char kNew[] = "/etc/quorvat/registry.new";
    static constexpr char kDefault[] = "/etc/quorvat/registry.default";

    void SetUp() override {
        CGlobalTraceTest::SetUp();
        Remove("/etc/quorvat");
        MakeDirectories("/etc/quorvat");
    }
    static CRegistryNode* Machine() { return CRegistry::Hive(RegistryHive::LocalMachine); }
    // The text of this process's whole tree.
    static std::string TreeText() {
        CRegistry root;
        EXPECT_EQ(root.Open("", nullptr, -1), 0);
        std::string text;
        root.KeepKeyHandle()->dumpNode(text);
        return text;
    }
    // The text of a tree whose local-machine key has that content, alone or beside the other
    // predefined keys.
    static std::string MachineTree(std::string_view content) {
        return "[HKEY_LOCAL_MACHINE]\n" + std::string(content) + "\n\n";
    }
    static std::string WholeTree(std::string_view content) {
        return "[HKEY_CLASSES_ROOT]\n\n[HKEY_CURRENT_CONFIG]\n\n[HKEY_CURRENT_USER]\n\n"
               "[HKEY_LOCAL_MACHINE]\n" +
               std::string(content) + "\n[HKEY_USERS]\n\n\n";
    }
};

// What the tests of the registry share: the tree files of a private root, and the trace.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "os/registry.h"

// Starts every test with an empty registry folder. The process that runs the tests never uses the
// registry itself: every case runs in a child, whose tree is not set up yet.
class CRegistryTest : public testing::Test {
protected:
    static constexpr char kFile[] = "/etc/quorvat/registry";
    static constexpr char kOld[] = "/etc/quorvat/registry.old";
    static constexpr char kNew[] = "/etc/quorvat/registry.new";
    static constexpr char kDefault[] = "/etc/quorvat/registry.default";
    static constexpr char kMachine[] = "HKEY_LOCAL_MACHINE";
    // The predefined keys as a save of an otherwise empty tree leaves them.
    static constexpr char kEmptyTree[] =
        "[HKEY_CLASSES_ROOT]\n\n[HKEY_CURRENT_CONFIG]\n\n[HKEY_CURRENT_USER]\n\n"
        "[HKEY_LOCAL_MACHINE]\n\n[HKEY_USERS]\n\n\n";

    void SetUp() override;
};

// The text of this process's whole tree.
std::string TreeText();

// The text of a tree whose local-machine key has that content.
std::string MachineTree(std::string_view content);

// Switches this process's trace on, at level 2, into the log file.
void StartTrace();
// What was traced since, without entry headers and without the lines that hold one of the texts.
std::vector<std::string> TraceTexts(const std::vector<std::string>& without = {});

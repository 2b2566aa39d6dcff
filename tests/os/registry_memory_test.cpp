// Operations when memory runs out: they fail and change nothing.
#include <cstdlib>
#include <new>

#include "tests/os/registry_fixture.h"
#include "tests/support/files.h"
#include "tests/support/fresh_process.h"

namespace {

long allocationsLeft = -1;  // until one fails; -1: none does

void* Allocate(std::size_t size) {
    if (allocationsLeft == 0) {
        allocationsLeft = -1;
        throw std::bad_alloc();
    }
    if (allocationsLeft > 0) {
        --allocationsLeft;
    }
    void* memory = std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

void* operator new(std::size_t size) {
    return Allocate(size);
}
void* operator new[](std::size_t size) {
    return Allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

namespace {

using RegistryMemory = CRegistryTest;

// Lets the first, second, ... allocation of `step` fail until it succeeds; returns how many did.
// After each failure the tree is as before. `step` returns whether it succeeded.
template <typename Step>
int FailEveryAllocation(Step step) {
    const std::string before = TreeText();
    for (int failures = 0;; ++failures) {
        allocationsLeft = failures;
        const bool isDone = step();
        const bool hasFailed = allocationsLeft == -1;
        allocationsLeft = -1;
        if (!hasFailed) {
            EXPECT_TRUE(isDone);
            return failures;
        }
        EXPECT_FALSE(isDone) << failures;
        EXPECT_EQ(TreeText(), before) << failures;
    }
}

TEST_F(RegistryMemory, RunningOutLeavesTheTreeAsItWas) {
    InFreshProcess([] {
        CRegistryNode* machine = CRegistry::Hive(RegistryHive::LocalMachine);
        CRegistry key;
        machine = CRegistry::Hive(RegistryHive::LocalMachine);
        ASSERT_EQ(key.CreateKey(machine, "A", false, -1), 0);
        const std::string text(100, 'x');
        EXPECT_GE(FailEveryAllocation([&] { return key.SetValue("v", text.c_str()) == 0; }), 2);
        EXPECT_GE(FailEveryAllocation([&] { return key.SetValue("v", "other") == 0; }), 1);
        EXPECT_GE(FailEveryAllocation([&] { return key.SetValue("n", 7U) == 0; }), 1);
        EXPECT_GE(FailEveryAllocation(
                      [&] { return key.CreateKey(machine, "a new key of that name", 0, 0) == 0; }),
                  3);
        CRegistry fresh;
        EXPECT_GE(FailEveryAllocation([&] {
                      CRegistry handle(machine);
                      return handle.Open("a new key of that name", machine, -1) == 0;
                  }),
                  1);
        EXPECT_GE(FailEveryAllocation([&] {
                      CRegistry handle(machine);
                      handle.Open("A", machine, -1);
                      return handle.GetValue("v") != nullptr;
                  }),
                  1);
    });
}

// A tree that was read by half is never written over the file, and the next handle reads it whole.
TEST_F(RegistryMemory, RunningOutWhileReadingDoesNotCostTheFile) {
    std::string tree = kEmptyTree;
    tree.insert(tree.find("\n[HKEY_USERS]"), "a=s=text\nb=s=text\n[C]\nv=d=1\n\n");
    WriteFile(kFile, tree);
    for (int failing = 0; failing < 24; ++failing) {
        InFreshProcess([&] {
            allocationsLeft = failing;
            {
                CRegistry registry;
                allocationsLeft = -1;
                EXPECT_EQ(registry.SetValue("v", 1U), 22);  // dirty all the same
            }
            EXPECT_EQ(ReadFile(kFile), tree) << failing;
            EXPECT_EQ(TreeText(), tree) << failing;
        });
    }
}

}  // namespace

// Operations when memory runs out: they fail and change nothing.
#include <cstdlib>
#include <new>

#include "tests/os/registry_fixture.h"

namespace {

long allocationsLeft = -1;  // until one fails; -1: none does

}  // namespace

// Every form, since a sanitizer's own do not call each other.
void* operator new(std::size_t size) {
    void* memory = allocationsLeft == 0 ? nullptr : std::malloc(size);
    if (allocationsLeft >= 0) {
        --allocationsLeft;
    }
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

namespace {

class RegistryMemory : public CRegistryTest {
protected:
    // Lets the first, second, ... allocation of `step` fail until it succeeds. After each failure
    // the tree is as before. Returns how many failed.
    template <typename Step>
    static int FailEveryAllocation(Step step) {
        const std::string before = TreeText();
        for (int failures = 0;; ++failures) {
            allocationsLeft = failures;
            const bool isDone = step();
            const bool hasFailed = allocationsLeft == -1;
            allocationsLeft = -1;
            EXPECT_EQ(isDone, !hasFailed) << failures;
            if (!hasFailed) {
                return failures;
            }
            EXPECT_EQ(TreeText(), before) << failures;
        }
    }
};

TEST_F(RegistryMemory, RunningOutLeavesTheTreeAsItWas) {
    InFreshProcess([] {
        CRegistry key;
        CRegistryNode* machine = Machine();
        constexpr char kLong[] = "a name that does not fit into a string object";
        ASSERT_EQ(key.CreateKey(machine, "A", false, -1), 0);
        EXPECT_GE(FailEveryAllocation([&] { return key.SetValue("v", kLong) == 0; }), 2);
        EXPECT_GE(FailEveryAllocation([&] { return key.SetValue("v", "other") == 0; }), 1);
        EXPECT_GE(FailEveryAllocation([&] { return key.SetValue("n", 7U) == 0; }), 1);
        EXPECT_GE(FailEveryAllocation([&] { return key.CreateKey(machine, kLong, 0, 0) == 0; }), 3);
        EXPECT_GE(FailEveryAllocation([&] { return key.Open(kLong, machine, -1) == 0; }), 1);
        EXPECT_EQ(key.Open("A", machine, -1), 0);
        EXPECT_GE(FailEveryAllocation([&] { return key.GetValue("v") != nullptr; }), 1);
    });
}

// A tree that was read by half is never written over the file, and the next handle reads it whole.
TEST_F(RegistryMemory, RunningOutWhileReadingDoesNotCostTheFile) {
    const std::string tree = WholeTree("a=s=text\nb=s=text\n[C]\nv=d=1\n\n");
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

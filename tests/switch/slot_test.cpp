// The numbers of the virtual slots, which programs and libraries built apart from each other share:
// the daemon's side calls by number, the library's side is what its author's compiler laid out.
#include <dlfcn.h>

#include <cstdint>

#include <gtest/gtest.h>

namespace {

// An object as the machine sees it: a pointer to its table of operations.
struct Object {
    void* const* Table;
};

// Arguments travel in registers of pointer size, whatever an operation makes of them.
using Operation = void (*)(Object*, const void*, const void*, const void*);

const void* Number(std::uintptr_t number) {
    return reinterpret_cast<const void*>(number);  // NOLINT(performance-no-int-to-ptr): as above
}

TEST(Slots, StandWhereTheOtherSideCalls) {
    void* const library = dlopen(SLOT_OBJECTS, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    const auto lastCall = reinterpret_cast<const char* (*)()>(dlsym(library, "LastCall"));
    const std::uint32_t config[2] = {1, 5};  // flags, run mode
    const std::int32_t runLevel = 6;
    const struct {
        const char* Maker;
        int Slot;
        const char* Operation;
        const void *First, *Second;
    } rows[] = {
        {"MakeSwitch", 2, "LoadModules", config, nullptr},
        {"MakeSwitch", 3, "UnloadModules", nullptr, nullptr},
        {"MakeSwitch", 4, "StartAllModules", nullptr, nullptr},
        {"MakeSwitch", 5, "StopAllModules", nullptr, nullptr},
        {"MakeSwitch", 6, "Reserved6", nullptr, nullptr},
        {"MakeSwitch", 15, "Reserved15", nullptr, nullptr},
        {"MakeSwitch", 16, "Notify", Number(0x30000), &runLevel},
        {"MakeTrace", 2, "IsMaster", nullptr, nullptr},
        {"MakeTrace", 3, "Init", nullptr, nullptr},
        {"MakeTrace", 4, "Print", nullptr, nullptr},
        {"MakeTrace", 5, "PrintAlways", nullptr, nullptr},
        {"MakeTrace", 6, "PrintAlways level", nullptr, nullptr},
        {"MakeTrace", 7, "PrintAlwaysV", nullptr, nullptr},
        {"MakeTrace", 8, "ClientPrintV", nullptr, nullptr},
    };
    for (const auto& row : rows) {
        Object* const object = reinterpret_cast<Object* (*)()>(dlsym(library, row.Maker))();
        reinterpret_cast<Operation>(object->Table[row.Slot])(object, row.First, row.Second,
                                                             nullptr);
        EXPECT_STREQ(lastCall(), row.Operation) << row.Maker << " " << row.Slot;
    }
}

}  // namespace

// The numbers of the virtual slots, which programs and libraries built apart from each other share:
// the daemon's side calls by number, the library's side is what its author's compiler laid out.
#include <dlfcn.h>

#include <cstdarg>
#include <cstdint>
#include <string>

#include <gtest/gtest.h>

namespace {

// An object as the machine sees it: a pointer to its table of operations.
struct Object {
    void* const* Table;

    template <typename Function>
    [[nodiscard]] Function Slot(int number) const {
        return reinterpret_cast<Function>(Table[number]);
    }
};

class Slots : public testing::Test {
protected:
    void SetUp() override {
        m_Library = dlopen(SLOT_OBJECTS, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(m_Library, nullptr) << dlerror();
        m_LastCall = reinterpret_cast<const char* (*)()>(dlsym(m_Library, "LastCall"));
        ASSERT_NE(m_LastCall, nullptr);
    }
    Object* Make(const char* maker) {
        return reinterpret_cast<Object* (*)()>(dlsym(m_Library, maker))();
    }
    std::string LastCall() { return m_LastCall(); }
    static void CallWithList(Object* trace, int slot, ...) {
        va_list args;
        va_start(args, slot);
        trace->Slot<void (*)(Object*, const char*, va_list, const char*)>(slot)(trace, "", args,
                                                                                "");
        va_end(args);
    }

private:
    void* m_Library = nullptr;
    const char* (*m_LastCall)() = nullptr;
};

}  // namespace

TEST_F(Slots, OfTheSwitchInterfaceStandWhereTheDaemonCalls) {
    Object* const object = Make("MakeSwitch");
    const std::uint32_t config[2] = {1, 5};  // flags, run mode
    EXPECT_TRUE((object->Slot<bool (*)(Object*, const void*)>(2)(object, config)));
    EXPECT_EQ(LastCall(), "LoadModules");
    EXPECT_TRUE((object->Slot<bool (*)(Object*, std::uint32_t)>(3)(object, 0)));
    EXPECT_EQ(LastCall(), "UnloadModules");
    const struct {
        int Number;
        const char* Operation;
    } rows[] = {
        {4, "StartAllModules"}, {5, "StopAllModules"}, {6, "Reserved6"}, {15, "Reserved15"}};
    for (const auto& row : rows) {
        object->Slot<void (*)(Object*)>(row.Number)(object);
        EXPECT_EQ(LastCall(), row.Operation) << row.Number;
    }
    std::int32_t runLevel = 6;
    object->Slot<void (*)(Object*, std::uint32_t, void*, int)>(16)(object, 0x30000, &runLevel, 0);
    EXPECT_EQ(LastCall(), "Notify");
}

TEST_F(Slots, OfTheTraceInterfaceStandWhereLibrariesCall) {
    Object* const object = Make("MakeTrace");
    EXPECT_TRUE((object->Slot<bool (*)(Object*)>(2)(object)));
    EXPECT_EQ(LastCall(), "IsMaster");
    EXPECT_TRUE((object->Slot<bool (*)(Object*, const char*)>(3)(object, "")));
    EXPECT_EQ(LastCall(), "Init");
    object->Slot<void (*)(Object*, unsigned int, const char*, ...)>(4)(object, 1U, "%d", 1);
    EXPECT_EQ(LastCall(), "Print");
    object->Slot<void (*)(Object*, const char*, ...)>(5)(object, "%d", 1);
    EXPECT_EQ(LastCall(), "PrintAlways");
    object->Slot<void (*)(Object*, unsigned int, const char*, ...)>(6)(object, 1U, "%d", 1);
    EXPECT_EQ(LastCall(), "PrintAlways level");
    CallWithList(object, 7);
    EXPECT_EQ(LastCall(), "PrintAlwaysV");
    CallWithList(object, 8);
    EXPECT_EQ(LastCall(), "ClientPrintV");
}

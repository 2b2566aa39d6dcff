// A module whose static constructor raises an exception. A program of its own, since the dynamic
// loader's lock stays held afterwards.
#include "tests/switch/switch_fixture.h"

class StaticException : public CSwitchTest {};

TEST_F(StaticException, IsTracedAndKeepsTheOtherModules) {
    Install("alpha", "1.so");
    Install("throws_statically", "2.so");
    Install("beta", "3.so");
    EXPECT_TRUE(LiveThrough({"alpha", "beta"}));
    EXPECT_EQ(TextsWith("2.so not loaded: exception in a static constructor").size(), 1U);
    EXPECT_EQ(TextsWith(": destroyed").size(), 2U);
}

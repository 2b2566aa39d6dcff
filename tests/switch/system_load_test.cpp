// The example module's reading of the kernel's files.
#include "modules/example/system_load.h"

#include <gtest/gtest.h>

TEST(SystemLoad, TakesTheFirstFieldOfTheLoadAverage) {
    EXPECT_EQ(ParseLoadAverage("0.61 0.42 0.39 1/512 4711\n"), "0.61");
    EXPECT_EQ(ParseLoadAverage("12.00"), "12.00");
    EXPECT_EQ(ParseLoadAverage(""), "");
}

TEST(SystemLoad, FindsTheAvailableMemory) {
    EXPECT_EQ(ParseAvailableMemory("MemFree: 1 kB\nMemAvailable:   16318 kB\nBuffers: 2 kB\n"),
              16318U);
    EXPECT_EQ(ParseAvailableMemory("MemAvailable:"), std::nullopt);
    EXPECT_EQ(ParseAvailableMemory("MemAvailable:   many kB"), std::nullopt);
    EXPECT_EQ(ParseAvailableMemory("MemFree: 1 kB\n"), std::nullopt);
}

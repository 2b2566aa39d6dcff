#include "os/cpu_identification.h"

#include <cpuid.h>

#include <array>

#include <gtest/gtest.h>

namespace {

using Registers = std::array<unsigned int, 4>;

int Read(Registers& registers) {
    return cpuRawRead(&registers[0], &registers[1], &registers[2], &registers[3]);
}

TEST(CpuIdentification, ReadsTheLeavesThatTheProcessorHasAndClearsTheOthers) {
    for (const unsigned int range : {0U, 0x80000000U}) {
        const unsigned int highest = __get_cpuid_max(range, nullptr);
        Registers expected{};
        __cpuid_count(range, 0, expected[0], expected[1], expected[2], expected[3]);
        Registers registers{range, 1, 2, 3};
        EXPECT_EQ(Read(registers), 1);
        EXPECT_EQ(registers, expected);
        registers = {highest, 1, 2, 3};
        EXPECT_EQ(Read(registers), 1);
        for (const unsigned int missing : {highest + 1, range + 0x7FFFFFFFU}) {
            registers = {missing, 1, 2, 3};
            EXPECT_EQ(Read(registers), 0) << missing;
            EXPECT_EQ(registers, Registers{});
        }
    }
}

}  // namespace

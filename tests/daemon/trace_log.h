// Reads what the code under test writes through `Debug`; for tests in a private root.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

// Starts `Debug` for each test with every level on and all entries in the log file.
class CTraceLogTest : public testing::Test {
protected:
    void SetUp() override;

    static void SwitchTracingOff();
    // The texts of the entries so far, without their headers.
    static std::vector<std::string> Texts();
    // Those of them that contain `part`.
    static std::vector<std::string> TextsWith(std::string_view part);
};

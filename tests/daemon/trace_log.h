// Reads what the code under test writes through `Debug`; for tests in a private root.
#pragma once

#include <functional>
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
    // How many entries `work`, done once at each level, adds at which level: "CSMBios 1:2 4:9" for
    // those whose texts begin with that name. An entry that is lost, or at another level, shows.
    static std::vector<std::string> LinesByLevel(const std::function<void()>& work);
    // The first level at which `work` writes an entry with `part`; -1 when it never does.
    static int LevelOf(std::string_view part, const std::function<void()>& work);

private:
    static void StartAtLevel(int level);
};

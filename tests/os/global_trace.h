// What the code under test writes through the global trace object, in a private root.
#pragma once

#include <algorithm>
#include <regex>
#include <string>
#include <vector>

#include "tests/trace/debug_fixture.h"

class CGlobalTraceTest : public CDebugTest {
protected:
    void TearDown() override {
        Debug.SetTarget(kTargetNone);
        CDebugTest::TearDown();
    }
    // From now on everything up to `level` goes to the log file.
    static void StartGlobal(unsigned int level) {
        ConfigureRing(level);
        Debug.Init("zentd");
        Debug.SetTarget(kTargetLogFile);
        Debug.PrintAlways("begin");
    }
    // The texts since then, a line each, without those that match; "@" stands for every address
    // and thread.
    static std::string Traced(const std::string& without = "^$") {
        const std::vector<std::string> texts = Texts(kLogFile);
        std::string traced;
        for (auto text = std::find(texts.rbegin(), texts.rend(), "begin").base();
             text != texts.end(); ++text) {
            if (!std::regex_search(*text, std::regex(without))) {
                traced += std::regex_replace(*text, std::regex("0x(?!0+\\b)\\w{5,}"), "@") + "\n";
            }
        }
        return traced;
    }
};

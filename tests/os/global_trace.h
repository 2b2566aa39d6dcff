// What the code under test writes through the global trace object, in a private root.
#pragma once

#include <algorithm>
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
    static std::vector<std::string> TextsSinceStart() {
        std::vector<std::string> texts = Texts(kLogFile);
        texts.erase(texts.begin(), std::find(texts.rbegin(), texts.rend(), "begin").base());
        return texts;
    }
};

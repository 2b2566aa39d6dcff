#include "trace/trace_config_text.h"

#include <optional>
#include <string>

#include <gtest/gtest.h>

namespace {

using trace::FindNumber;
using trace::FindSection;
using trace::FindValue;

struct Row {
    std::string_view Text;
    std::optional<std::string_view> Found;
};

TEST(TraceConfigSection, IsFoundWithoutRegardToCaseAndOnlyBeforeTheEnd) {
    for (const Row& row : {
             Row{"x=1\n[ZENTD]a=1[other]\n[zentd]\nb=2\n[ENDOFFILE]", "a=1"},  // the first counts
             Row{"[zentd]\na=1\n", std::nullopt},                              // no end section
             Row{"[EndOfFile]\n[zentd]\na=1\n", std::nullopt},                 // not the last one
             Row{"[zentd]\na=1\n[EndOfFile]\nb=2 ]\n", std::nullopt},          // a later bracket
             Row{"[x\n[zentd]\n[EndOfFile]", std::nullopt},  // the name runs to the first "]"
             Row{"]", std::nullopt},
             Row{"", std::nullopt},
             Row{"[other]\n[open\n[EndOfFile]", std::nullopt},
             Row{"[zentd][EndOfFile]", ""},
         }) {
        EXPECT_EQ(FindSection(row.Text, "zentd"), row.Found) << row.Text;
    }
    // In linear time.
    const std::string hostile = std::string(std::size_t{8} << 20U, '[') + "]\n[EndOfFile]";
    EXPECT_EQ(FindSection(hostile, "zentd"), std::nullopt);
}

TEST(TraceConfigValue, IsAPlainSubstringSearch) {
    for (const Row& row : {
             Row{"\nFileDebugLevel = \t 3 \n", "3 "},
             Row{"\nMyFileDebugLevelX=7\nFileDebugLevel=3\n", "7"},     // inside a longer name
             Row{"\n; FileDebugLevel: see below\nother=9\n", "9"},      // "=" on a later line
             Row{"\nFileDebugLevel=\nTraceFlags=5\n", "TraceFlags=5"},  // empty: the next text
             Row{"\nFileDebugLevel=\r\n\r\n 4\r\nx=1", "4"}, Row{"\nFileDebugLevel=", ""},
             Row{"\nFileDebugLevel\n", std::nullopt},
             Row{"\nfiledebuglevel=3\n", std::nullopt},  // keys are compared with regard to case
         }) {
        EXPECT_EQ(FindValue(row.Text, "FileDebugLevel", 64), row.Found) << row.Text;
    }
    EXPECT_EQ(FindValue("k=" + std::string(300, 'v'), "k", 256)->size(), 256U);
}

TEST(TraceConfigNumber, IsInCNotation) {
    EXPECT_EQ(FindNumber("k=0x3", "k"), 3U);
    EXPECT_EQ(FindNumber("k=010", "k"), 8U);
    EXPECT_EQ(FindNumber("k=-1", "k"), 0xFFFFFFFF);
    EXPECT_EQ(FindNumber("k=7abc", "k"), 7U);
    EXPECT_EQ(FindNumber("k=abc", "k"), 0U);
    EXPECT_EQ(FindNumber("other=1", "k"), std::nullopt);
}

}  // namespace

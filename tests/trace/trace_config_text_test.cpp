#include "trace/trace_config_text.h"

#include <optional>
#include <string>

#include <gtest/gtest.h>

namespace {

using trace::FindNumber;
using trace::FindSection;
using trace::FindValue;

TEST(TraceConfigSection, IsFoundWithoutRegardToCaseAndOnlyBeforeTheEnd) {
    const struct {
        const char* File;
        std::optional<std::string_view> Section;
    } rows[] = {
        {"[ZENTD]\na=1\n[EndOfFile]\n", "\na=1\n"},
        {"x=1\n[zentd]a=1[other]\n[zentd]\nb=2\n[ENDOFFILE]", "a=1"},  // the first one counts
        {"[zentd]\na=1\n", std::nullopt},                              // no end section
        {"[EndOfFile]\n[zentd]\na=1\n", std::nullopt},                 // not the last one
        {"[zentd]\na=1\n[EndOfFile]\nb=2 ]\n", std::nullopt},          // a later bracket
        {"[EndOfFile]\n", std::nullopt},
        {"[x\n[zentd]\n[EndOfFile]", std::nullopt},  // the name runs to the first "]"
        {"[zentd]\n", std::nullopt},
        {"]", std::nullopt},
        {"", std::nullopt},
        {"[other]\n[open\n[EndOfFile]", std::nullopt},
        {"[zentd][EndOfFile]", ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(FindSection(row.File, "zentd"), row.Section) << row.File;
    }
}

TEST(TraceConfigSection, TakesLinearTimeOnManyOpenBrackets) {
    const std::string hostile = std::string(std::size_t{8} << 20U, '[') + "]\n[EndOfFile]";
    EXPECT_EQ(FindSection(hostile, "zentd"), std::nullopt);
}

TEST(TraceConfigValue, IsAPlainSubstringSearch) {
    const struct {
        const char* Section;
        std::optional<std::string_view> Value;
    } rows[] = {
        {"\nFileDebugLevel=3\n", "3"},
        {"\nFileDebugLevel = \t 3 \n", "3 "},
        {"\nMyFileDebugLevelX=7\nFileDebugLevel=3\n", "7"},     // inside a longer name
        {"\n; FileDebugLevel: see below\nother=9\n", "9"},      // the next "=" on a later line
        {"\nFileDebugLevel=\nTraceFlags=5\n", "TraceFlags=5"},  // empty: the next line's text
        {"\nFileDebugLevel=\r\n\r\n 4\r\nx=1", "4"},
        {"\nFileDebugLevel=", ""},
        {"\nFileDebugLevel\n", std::nullopt},
        {"\nfiledebuglevel=3\n", std::nullopt},  // keys are compared with regard to case
        {"", std::nullopt},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(FindValue(row.Section, "FileDebugLevel", 64), row.Value) << row.Section;
    }
    EXPECT_EQ(FindValue("k=" + std::string(300, 'v'), "k", 256)->size(), 256U);
}

TEST(TraceConfigNumber, IsInCNotation) {
    const struct {
        const char* Section;
        std::uint32_t Number;
    } rows[] = {{"k=0x3", 3},         {"k=010", 8}, {"k=10", 10},
                {"k=-1", 0xFFFFFFFF}, {"k=abc", 0}, {"k=7abc", 7}};
    for (const auto& row : rows) {
        EXPECT_EQ(FindNumber(row.Section, "k"), row.Number) << row.Section;
    }
    EXPECT_EQ(FindNumber("other=1", "k"), std::nullopt);
}

}  // namespace

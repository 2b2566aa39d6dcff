// The switch's reading of its configuration text.
#include "switch/switch_settings.h"

#include <string>

#include <gtest/gtest.h>

TEST(SwitchSettings, FindsTheFirstValueOfAKeyInTheFirstSectionOfAName) {
    const CSwitchSettings settings = CSwitchSettings::Parse(
        "early=0\n"
        "; a comment\n"
        "  [one] trailing\r\n"
        "  key \t=  a b  ; and why\r\n"
        "key=second\n"
        "no value\n"
        "empty=\n"
        "equation=a=b\n"
        "[two]\nkey=other\n"
        "[one]\nlate=1\n"
        "[open\nkey=in open\n"
        "[last]\nkey=last");
    const auto find = [&](const char* section, const char* key) {
        const char* const value = settings.Find(section, key);
        return std::string(value != nullptr ? value : "<none>");
    };
    EXPECT_EQ(find("one", "key"), "a b");
    EXPECT_EQ(find("one", "equation"), "a=b");
    EXPECT_EQ(find("two", "key"), "other");
    EXPECT_EQ(find("open", "key"), "in open");
    EXPECT_EQ(find("last", "key"), "last");
    for (const char* missing : {"early", "no value", "empty", "late", "Key", ""}) {
        EXPECT_EQ(find("one", missing), "<none>") << missing;
    }
    EXPECT_EQ(find("One", "key"), "<none>");
    EXPECT_EQ(find("", "early"), "<none>");
}

TEST(SwitchSettings, TakesTimeoutsFromOneMillisecondToTenMinutes) {
    using std::chrono::milliseconds;
    const struct {
        const char* Value;
        int Milliseconds;
        bool IsRefused;
    } rows[] = {
        {"1", 1, false},   {"600000", 600000, false}, {"600001", 7, true}, {"0", 7, true},
        {"-1", 7, true},   {"5s", 7, true},           {"0x10", 7, true},   {"", 7, false},
        {"soon", 7, true}, {"4294967297", 7, true},
    };
    for (const auto& row : rows) {
        const auto settings = CSwitchSettings::Parse("[s]\nt=" + std::string(row.Value));
        bool isRefused = !row.IsRefused;
        EXPECT_EQ(settings.FindTimeout("s", "t", milliseconds(7), isRefused),
                  milliseconds(row.Milliseconds))
            << row.Value;
        EXPECT_EQ(isRefused, row.IsRefused) << row.Value;
    }
}

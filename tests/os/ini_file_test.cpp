#include "os/ini_file.h"

#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/os/ini_fixture.h"

namespace {

class IniFile : public CIniTest {
protected:
    CIniFile& Opened(std::string_view text) {
        Write(text);
        EXPECT_TRUE(m_Ini.Open(Path().c_str(), true));
        return m_Ini;
    }
    CIniFile m_Ini;
};

// The names that GetEnum and GetNextEnum walk over, joined.
std::string Walk(CIniFile& ini, const char* section) {
    std::string names;
    for (const char* name = ini.GetEnum(section); *name != '\0'; name = ini.GetNextEnum()) {
        names.append(name).append(" ");
    }
    return names;
}

TEST_F(IniFile, OpensWithANameAndIfWantedAReadableFile) {
    EXPECT_STREQ(m_Ini.GetFileName(), "");
    EXPECT_FALSE(m_Ini.Open(false));
    EXPECT_TRUE(m_Ini.Open(Path().c_str(), false));
    EXPECT_FALSE(m_Ini.Open(true));
    EXPECT_FALSE(m_Ini.IsOpen());
    Write("");
    EXPECT_TRUE(m_Ini.Open(true));
    EXPECT_EQ(m_Ini.GetFileName(), Path());
    m_Ini.Close();
    EXPECT_FALSE(m_Ini.IsOpen());
    EXPECT_FALSE(m_Ini.Open(nullptr, false));
    EXPECT_STREQ(m_Ini.GetFileName(), "");
}

TEST_F(IniFile, GivesDefaultsAndChangesNothingWhileItIsNotOpen) {
    Opened("[s]\nk=1\n").Close();
    std::string out = "old";
    std::vector<std::string> names;
    EXPECT_EQ(m_Ini.GetNumber("s", "k", 7), 7U);
    EXPECT_FALSE(m_Ini.GetString(out, "s", "k", "d"));
    EXPECT_EQ(out, "d");
    EXPECT_FALSE(m_Ini.GetString(out, "s", "k", nullptr));
    EXPECT_EQ(out, "");
    const char* const text = "d";
    EXPECT_EQ(m_Ini.GetString("s", "k", text), text);
    EXPECT_EQ(Walk(m_Ini, nullptr), "");
    EXPECT_FALSE(m_Ini.GetSections(names));
    EXPECT_FALSE(m_Ini.SetString("s", "k", "2"));
    EXPECT_FALSE(m_Ini.DeleteSection("s"));
    EXPECT_FALSE(m_Ini.CopySection("s", "t"));
    EXPECT_EQ(Text(), "[s]\nk=1\n");
    // The name may go while the object is open.
    EXPECT_TRUE(m_Ini.Open(true));
    EXPECT_STREQ(m_Ini.GetString("s", "k", "d"), "1");
    m_Ini.SetFilename(nullptr);
    EXPECT_EQ(m_Ini.GetString("s", "k", text), text);
    EXPECT_EQ(m_Ini.GetNumber("s", "k", 7), 7U);
    EXPECT_FALSE(m_Ini.SetString("s", "k", "2"));
}

TEST_F(IniFile, ReadsNumbersInCNotation) {
    const struct {
        std::string Text;
        unsigned int Number;
    } cases[] = {
        {"12", 12},        {"0x1F", 31},
        {"010", 8},        {"4294967295", 0xFFFFFFFF},
        {"4294967297", 1}, {"-1", 0xFFFFFFFF},
        {"12abc", 12},     {"abc", 0},
        {"", 7},           {std::string(30, '0') + "53", 5},  // 31 characters count
    };
    for (const auto& row : cases) {
        EXPECT_EQ(Opened("[s]\nk=" + row.Text + "\n").GetNumber("s", "k", 7), row.Number)
            << row.Text;
    }
    EXPECT_EQ(m_Ini.GetNumber("s", "none", 7), 7U);
    EXPECT_EQ(m_Ini.GetNumber(nullptr, "k", 7), 7U);
    EXPECT_EQ(m_Ini.GetNumber("s", nullptr, 7), 7U);
}

// A line cannot be that long, but a default can: the buffers grow to 64,512 characters, and a
// result of size - 2 or size - 1 counts as perhaps cut.
TEST_F(IniFile, GrowsItsStringsToALimit) {
    Opened("[s]\nk=" + std::string(1021, 'v') + "\n");
    EXPECT_EQ(m_Ini.GetString("s", "k", "d"), std::string(1021, 'v'));
    for (const std::size_t length : {1021U, 1022U, 1023U, 5000U, 64509U, 64510U, 70000U}) {
        const std::string text(length, 'd');
        const bool fits = length <= 64509;
        std::string out;
        EXPECT_EQ(m_Ini.GetString(out, "s", "none", text.c_str()), fits) << length;
        EXPECT_EQ(out, text) << length;
        const char* const result = m_Ini.GetString("s", "none", text.c_str());
        EXPECT_EQ(result, text) << length;
        EXPECT_EQ(result != text.c_str(), fits) << length;
    }
    EXPECT_STREQ(m_Ini.GetString("s", nullptr, "d"), "d");
    EXPECT_STREQ(m_Ini.GetString(nullptr, "k", "d"), "d");
    EXPECT_STREQ(m_Ini.GetString("s", "none", nullptr), "");
}

TEST_F(IniFile, WalksNames) {
    Opened("[a]\nx=1\ny=2\n[b]\n");
    EXPECT_STREQ(m_Ini.GetNextEnum(), "");
    EXPECT_EQ(Walk(m_Ini, nullptr), "a b ");
    EXPECT_EQ(Walk(m_Ini, "a"), "x y ");
    EXPECT_STREQ(m_Ini.GetNextEnum(), "");
    EXPECT_EQ(Walk(m_Ini, "b"), "");
    EXPECT_EQ(Walk(m_Ini, "none"), "");
    std::vector<std::string> names{"before"};
    EXPECT_TRUE(m_Ini.GetSections(names));
    EXPECT_TRUE(m_Ini.GetEnums(names, "a"));
    EXPECT_EQ(names, (std::vector<std::string>{"before", "a", "b", "x", "y"}));
    EXPECT_FALSE(m_Ini.GetEnums(names, "b"));
    EXPECT_FALSE(m_Ini.GetEnums(names, nullptr));
    EXPECT_EQ(names.size(), 5U);
}

TEST_F(IniFile, GrowsItsListsToALimit) {
    // Names of nine characters and a terminator: 6,450 are 64,500 characters, one more step is
    // beyond the largest buffer.
    for (const int count : {102, 103, 1000, 6450, 6451}) {
        std::string text = "[s]\n";
        for (int i = 0; i < count; ++i) {
            text += std::to_string(100000000 + i) + "=1\n";
        }
        std::vector<std::string> names;
        EXPECT_EQ(Opened(text).GetEnums(names, "s"), count <= 6450) << count;
        EXPECT_EQ(names.size(), static_cast<std::size_t>(count <= 6450 ? count : 0));
    }
}

TEST_F(IniFile, WritesTextsAndNumbers) {
    Opened("");
    EXPECT_TRUE(m_Ini.SetString("s", "text", "value"));
    EXPECT_TRUE(m_Ini.SetNumber("s", "unsigned", 4294967295U));
    EXPECT_TRUE(m_Ini.SetNumber("s", "signed", -5));
    EXPECT_EQ(Text(), "\n[s]\n\ntext=value\nunsigned=4294967295\nsigned=-5\n");
    EXPECT_TRUE(m_Ini.DeleteKey("s", "unsigned"));
    EXPECT_FALSE(m_Ini.DeleteKey("s", "unsigned"));
    EXPECT_EQ(Text(), "\n[s]\n\ntext=value\nsigned=-5\n");
    EXPECT_FALSE(m_Ini.SetString(nullptr, "k", "v"));
    EXPECT_TRUE(m_Ini.DeleteSection("s"));
    EXPECT_EQ(Text(), "");
}

TEST_F(IniFile, CopiesASection) {
    Opened("[from]\na=1;x\n b = 2\nc=\na=3\n[to]\nb=0\nd=4\n");
    EXPECT_TRUE(m_Ini.CopySection("from", "to"));
    EXPECT_EQ(Text(), "[from]\na=1;x\n b = 2\nc=\na=3\n[to]\n\nb=2\nd=4\na=1\nc=\n");
    EXPECT_TRUE(m_Ini.CopySection("none", "to"));
    EXPECT_TRUE(m_Ini.CopySection(nullptr, "to"));
    EXPECT_TRUE(m_Ini.CopySection("from", nullptr));
    EXPECT_EQ(Text(), "[from]\na=1;x\n b = 2\nc=\na=3\n[to]\n\nb=2\nd=4\na=1\nc=\n");
}

}  // namespace

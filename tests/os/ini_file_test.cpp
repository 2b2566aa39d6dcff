#include "os/ini_file.h"

#include <string>
#include <string_view>
#include <vector>

#include "tests/os/ini_fixture.h"

namespace {

using Names = std::vector<std::string>;

class IniFile : public CIniTest {
protected:
    CIniFile& Opened(std::string_view text) {
        Write(text);
        EXPECT_TRUE(m_Ini.Open(Path().c_str(), true));
        return m_Ini;
    }
    // The names that GetEnum and GetNextEnum walk over.
    Names Walk(const char* section) {
        Names names;
        for (const char* name = m_Ini.GetEnum(section); *name != '\0'; name = m_Ini.GetNextEnum()) {
            names.emplace_back(name);
        }
        return names;
    }
    CIniFile m_Ini;
};

TEST_F(IniFile, OpensWithANameAndReadsAndChangesNothingUntilThen) {
    EXPECT_FALSE(m_Ini.Open(false) || m_Ini.Open(nullptr, false));
    EXPECT_STREQ(m_Ini.GetFileName(), "");
    EXPECT_TRUE(m_Ini.Open(Path().c_str(), false));
    EXPECT_FALSE(m_Ini.Open(true) || m_Ini.IsOpen()) << "there is no file";
    for (const bool isNameGone : {false, true}) {
        Opened("[s]\nk=1\n");
        EXPECT_STREQ(m_Ini.GetString("s", "k", "d"), "1");
        isNameGone ? m_Ini.SetFilename(nullptr) : m_Ini.Close();
        std::string out = "old";
        Names names;
        EXPECT_EQ(m_Ini.GetNumber("s", "k", 7), 7U);
        EXPECT_STREQ(m_Ini.GetString("s", "k", "d"), "d");
        EXPECT_FALSE(m_Ini.GetString(out, "s", "k", nullptr) || m_Ini.GetSections(names) ||
                     m_Ini.SetString("s", "k", "2") || m_Ini.DeleteSection("s"));
        EXPECT_EQ(out, "");
        EXPECT_EQ(m_Ini.CopySection("s", "t"), isNameGone);
        EXPECT_EQ(Text(), "[s]\nk=1\n");
    }
}

TEST_F(IniFile, ReadsNumbersInCNotation) {
    const std::pair<std::string, unsigned int> cases[] = {
        {"0x1F", 31},      {"010", 8},  {"4294967295", 0xFFFFFFFF},
        {"4294967297", 1}, {"-1", ~0U}, {"12abc", 12},
        {"abc", 0},        {"", 7},     {std::string(30, '0') + "53", 5},  // 31 characters count
    };
    for (const auto& [text, number] : cases) {
        EXPECT_EQ(Opened("[s]\nk=" + text + "\n").GetNumber("s", "k", 7), number) << text;
    }
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

TEST_F(IniFile, WalksAndListsNames) {
    Opened("[a]\nx=1\ny=2\n[b]\n");
    EXPECT_STREQ(m_Ini.GetNextEnum(), "");
    EXPECT_EQ(Walk(nullptr), (Names{"a", "b"}));
    EXPECT_EQ(Walk("a"), (Names{"x", "y"}));
    EXPECT_STREQ(m_Ini.GetNextEnum(), "");
    EXPECT_EQ(Walk("b"), Names{});
    Names names{"before"};
    EXPECT_TRUE(m_Ini.GetSections(names));
    EXPECT_TRUE(m_Ini.GetEnums(names, "a"));
    EXPECT_FALSE(m_Ini.GetEnums(names, "b") || m_Ini.GetEnums(names, nullptr));
    EXPECT_EQ(names, (Names{"before", "a", "b", "x", "y"}));
    // Names of nine characters and a terminator: 6,450 are 64,500 characters, one more step is
    // beyond the largest buffer.
    for (const std::size_t count : {102U, 103U, 6450U, 6451U}) {
        std::string text = "[s]\n";
        for (std::size_t i = 0; i < count; ++i) {
            text += std::to_string(100000000 + i) + "=1\n";
        }
        names.clear();
        EXPECT_EQ(Opened(text).GetEnums(names, "s"), count <= 6450) << count;
        EXPECT_EQ(names.size(), count <= 6450 ? count : 0);
    }
}

TEST_F(IniFile, WritesTextsAndNumbersAndCopiesASection) {
    Opened("");
    EXPECT_TRUE(m_Ini.SetNumber("s", "unsigned", 4294967295U));
    EXPECT_TRUE(m_Ini.SetNumber("s", "signed", -5));
    EXPECT_TRUE(m_Ini.SetString("s", "text", "value"));
    EXPECT_EQ(Text(), "\n[s]\n\nunsigned=4294967295\nsigned=-5\ntext=value\n");
    EXPECT_TRUE(m_Ini.DeleteKey("s", "signed"));
    EXPECT_FALSE(m_Ini.DeleteKey("s", "signed") || m_Ini.SetString(nullptr, "k", "v"));
    EXPECT_TRUE(m_Ini.DeleteSection("s"));
    EXPECT_EQ(Text(), "");
    const std::string from = "[from]\na=1;x\n b = 2\nc=\na=3\n";
    Opened(from + "[to]\nb=0\nd=4\n");
    EXPECT_TRUE(m_Ini.CopySection("from", "to"));
    EXPECT_TRUE(m_Ini.CopySection("none", "to"));
    EXPECT_TRUE(m_Ini.CopySection(nullptr, "to"));
    EXPECT_TRUE(m_Ini.CopySection("from", nullptr));
    EXPECT_EQ(Text(), from + "[to]\n\nb=2\nd=4\na=1\nc=\n");
}

}  // namespace

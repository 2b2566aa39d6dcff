#include <sys/resource.h>
#include <sys/stat.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "os/profile_string.h"
#include "tests/os/ini_fixture.h"

namespace {

using std::string_literals::operator""s;

struct Result {
    unsigned int Length;
    std::string Buffer;  // all of it, and the guard behind it
    bool operator==(const Result&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Result& result) {
    return out << result.Length << " " << testing::PrintToString(result.Buffer);
}

class ProfileRead : public CIniTest {
protected:
    // The value of a key, "<default>" when it is missing.
    [[nodiscard]] std::string Value(const char* section, const char* key) const {
        char buffer[2048];
        const unsigned int length = GetPrivateProfileString(section, key, "<default>", buffer,
                                                            sizeof buffer, Path().c_str());
        EXPECT_EQ(length, std::strlen(buffer));
        return buffer;
    }

    // Reads into a buffer of that size which is filled with "#" and has "##" behind it.
    [[nodiscard]] Result Read(const char* section, const char* key, unsigned int size,
                              const char* defaultValue = "default") const {
        std::string buffer(size + 2, '#');
        const unsigned int length = GetPrivateProfileString(section, key, defaultValue,
                                                            buffer.data(), size, Path().c_str());
        return {length, buffer};
    }
};

TEST_F(ProfileRead, FindsTheValueThatTheRulesOfTheFormatGive) {
    const struct {
        const char* What;
        std::string Text;
        std::string Value;  // of "key" in "section"
    } cases[] = {
        {"white space", "[section]\n \tkey \t=\v value \r\f\n", "value"},
        {"comment behind the value", "[section]\nkey = value ; note\n", "value"},
        {"comment without a blank", "[section]\nkey=a;b\n", "a"},
        {"comment in the key", "[section]\nke;y=no\nkey=yes\n", "yes"},
        {"comment line", "[section]\n  ;key=no\nkey=yes\n", "yes"},
        {"second equals sign", "[section]\nkey=a=b\n", "a=b"},
        {"empty value", "[section]\nkey=\nkey=second\n", "<default>"},
        {"value that is a comment", "[section]\nkey= ; note\n", "<default>"},
        {"first key wins", "[section]\nkey=1\nkey=2\n", "1"},
        {"first section wins", "[section]\na=1\n[b]\n[section]\nkey=2\n", "<default>"},
        {"section ends at the next", "[section]\n[other]\nkey=1\n", "<default>"},
        {"keys before any section", "key=1\n[section]\n", "<default>"},
        {"case of the section", "[Section]\nkey=1\n[SECTION]\nkey=2\n", "<default>"},
        {"case of the key", "[section]\nKey=1\n", "<default>"},
        {"longer section", "[sectionX]\nkey=1\n", "<default>"},
        {"longer and shorter key", "[section]\nkey2=1\nke=1\nxkey=1\n", "<default>"},
        {"text behind the header", "[section] x]\nkey=1\n", "1"},
        {"blank in the header", "[ section ]\nkey=1\n", "<default>"},
        {"indented header", "  [section]\nkey=1\n", "1"},
        {"comment in the header", "[section;]\nkey=1\n", "<default>"},
        {"open header ends a section", "[section]\n[open\nkey=1\n", "<default>"},
        {"line without equals sign", "[section]\nkey\nkey=1\n", "1"},
        {"CR LF", "[section]\r\n\r\nkey=value\r\n", "value"},
        {"no newline at the end", "[section]\nkey=value", "value"},
        {"header only, no newline", "[section]", "<default>"},
        {"NUL cuts its line", "[section]\nkey=va\0lue\nb=1\n"s, "va"},
        {"NUL before the setting", "[section]\n\0key=no\nkey=yes\n"s, "yes"},
        {"empty file", "", "<default>"},
    };
    for (const auto& row : cases) {
        Write(row.Text);
        EXPECT_EQ(Value("section", "key"), row.Value) << row.What;
    }
}

TEST_F(ProfileRead, TakesALongLineInPieces) {
    const std::string filler(1019, 'x');
    const struct {
        const char* What;
        std::string Text;
        std::string Value;
    } cases[] = {
        {"1,023 characters with the newline", "key=" + filler.substr(1) + "\n", filler.substr(1)},
        {"1,023 characters before it", "key=" + filler + "\n", filler},
        {"1,024 characters before it", "key=" + filler + "y\n", filler},
        {"setting in the second piece", "abc=" + filler + "key=1\n", "1"},
        {"header in the second piece", "abc=" + filler + "[other]\nkey=1\n", "<default>"},
        {"a comment does not reach the second piece", ";abc" + filler + "key=1\n", "1"},
    };
    for (const auto& row : cases) {
        Write("[section]\n" + row.Text);
        EXPECT_EQ(Value("section", "key"), row.Value) << row.What;
    }
}

TEST_F(ProfileRead, FindsLinesWhereverTheReadBufferEnds) {
    for (std::size_t length = 16300; length < 16400; ++length) {
        std::string text = "[a]\n";
        while (text.size() + 100 < length) {
            text += std::string(99, 'x') + "\n";
        }
        text += std::string(length - text.size() - 1, 'y') + "\n[section]\nkey=value\n";
        Write(text);
        ASSERT_EQ(Value("section", "key"), "value") << length;
    }
}

TEST_F(ProfileRead, CutsAValueToTheBuffer) {
    Write("[s]\nkey=abcdefghijkl\n");
    EXPECT_EQ(Read("s", "key", 10), (Result{9, "abcdefghi\0##"s}));
    EXPECT_EQ(Read("s", "key", 12), (Result{11, "abcdefghijk\0##"s}));
    EXPECT_EQ(Read("s", "key", 13), (Result{12, "abcdefghijkl\0##"s}));
    EXPECT_EQ(Read("s", "key", 3), (Result{2, "ab\0##"s}));
    EXPECT_EQ(Read("s", "key", 2), (Result{1, "a\0##"s}));
    EXPECT_EQ(Read("s", "key", 1), (Result{0, "\0##"s}));
    EXPECT_EQ(Read("s", "key", 0), (Result{0, "##"s}));
    EXPECT_EQ(Read("s", "none", 5), (Result{4, "defa\0##"s}));
    EXPECT_EQ(Read("s", "none", 1), (Result{0, "\0##"s}));
    EXPECT_EQ(Read("s", "none", 0), (Result{0, "##"s}));
    EXPECT_EQ(Read("s", "none", 3, nullptr), (Result{0, "\0\0###"s}));
}

TEST_F(ProfileRead, CutsAListSoThatBothTerminatorsRemain) {
    Write("[abc]\nk=1\n[de]\n");
    const struct {
        unsigned int Size;
        Result Wanted;
    } cases[] = {
        {9, {7, "abc\0de\0\0###"s}},  // room to spare
        {8, {7, "abc\0de\0\0##"s}},   // fits, though size - 1 reads as perhaps cut
        {7, {5, "abc\0d\0\0##"s}},
        {6, {4, "abc\0\0###"s}},  // the list is as full as it gets: no
                                  // further name is begun
        {5, {3, "abc\0\0##"s}},   // the first name fills the buffer, and a second one follows
        {4, {2, "ab\0\0##"s}},
        {3, {1, "a\0\0##"s}},
        {2, {0, "\0\0##"s}},
        {1, {0, "\0##"s}},
        {0, {0, "##"s}},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(Read(nullptr, "k", row.Size), row.Wanted) << row.Size;
    }
}

TEST_F(ProfileRead, ListsSectionsAndKeys) {
    Write(
        "lost=1\n[b]\n;x=1\n z = 1\na;=1\ny\n=2\nz=3\nq=\n"
        "[a] tail\n[open\n[]\n [b]\nw=1\n[semi;colon]\n");
    EXPECT_EQ(Read(nullptr, nullptr, 9), (Result{6, "b\0a\0b\0\0####"s}));
    EXPECT_EQ(Read("b", nullptr, 9), (Result{6, "z\0z\0q\0\0####"s}));
    EXPECT_EQ(Read("a", nullptr, 4), (Result{0, "\0\0####"s}));
    EXPECT_EQ(Read("none", nullptr, 4), (Result{0, "\0\0####"s}));
    EXPECT_EQ(Value("", "x"), "<default>");
}

TEST_F(ProfileRead, GivesTheDefaultForWhatIsNoRegularFile) {
    const std::string missing = Path("missing");
    const std::string fifo = Path("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    char buffer[8];
    for (const std::string& path : {missing, fifo, Path(".")}) {
        EXPECT_EQ(GetPrivateProfileString("s", "k", "abc", buffer, sizeof buffer, path.c_str()),
                  3U);
        EXPECT_STREQ(buffer, "abc");
        std::strcpy(buffer, "old");
        EXPECT_EQ(GetPrivateProfileString("s", "k", nullptr, buffer, sizeof buffer, path.c_str()),
                  0U);
        EXPECT_STREQ(buffer, "");
        EXPECT_EQ(GetPrivateProfileString(nullptr, nullptr, "abc", buffer, 8, path.c_str()), 0U);
        EXPECT_STREQ(buffer, "");
    }
    EXPECT_EQ(GetPrivateProfileString("s", "k", "abc", nullptr, 8, missing.c_str()), 0U);
    EXPECT_EQ(GetPrivateProfileString("s", "k", "abc", buffer, 8, nullptr), 0U);
}

// A line without end must not be held in memory, and is passed in linear time.
TEST_F(ProfileRead, PassesAHugeLineInLittleMemory) {
    constexpr std::size_t kHuge = 100U << 20U;
    Write("[s]\nx=1\n");
    std::filesystem::resize_file(Path(), kHuge);  // NUL bytes, which take no room on the disk
    std::ofstream(Path(), std::ios::app) << "\nkey=value\n";
    rusage before{};
    rusage after{};
    getrusage(RUSAGE_SELF, &before);
    EXPECT_EQ(Value("s", "key"), "value");
    getrusage(RUSAGE_SELF, &after);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 4096);  // kilobytes
}

}  // namespace

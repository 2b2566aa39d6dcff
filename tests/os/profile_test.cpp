// The profile operations: what a read finds and how it is cut, what a write changes.
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "os/profile_string.h"
#include "tests/os/ini_fixture.h"

namespace {

namespace fs = std::filesystem;
using std::string_literals::operator""s;

struct Result {
    unsigned int Length;
    std::string Buffer;  // all of it, and the guard behind it
    bool operator==(const Result&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Result& result) {
    return out << result.Length << " " << testing::PrintToString(result.Buffer);
}

class Profile : public CIniTest {
protected:
    // Reads into a buffer of that size which is filled with "#" and has "##" behind it.
    [[nodiscard]] Result Read(const char* section, const char* key, unsigned int size,
                              const char* defaultValue = "<default>") const {
        std::string buffer(size + 2, '#');
        const unsigned int length = GetPrivateProfileString(section, key, defaultValue,
                                                            buffer.data(), size, Path().c_str());
        return {length, buffer};
    }
    // The value of "key" in "section", "<default>" when it is missing.
    [[nodiscard]] std::string Value() const {
        const Result result = Read("section", "key", 2048);
        EXPECT_EQ(result.Length, std::strlen(result.Buffer.c_str()));
        return result.Buffer.substr(0, result.Length);
    }
    [[nodiscard]] bool Change(const char* section, const char* key, const char* value) const {
        return WritePrivateProfileString(section, key, value, Path().c_str());
    }
};

// Beside what ini_oracle_test compares.
TEST_F(Profile, FindsTheValueThatTheRulesOfTheFormatGive) {
    const std::string filler(1019, 'x');
    const std::pair<std::string, std::string> cases[] = {
        {"  [section]\n \tkey \t=\v value \r\f\n", "value"},
        {"[section]\n  ;key=no\nke;y=no\nkey=a;b\n", "a"},
        {"[section]\nkey=\nkey=an empty value does not count\n", "<default>"},
        {"[section]\nkey= ; note\n", "<default>"},
        {"[section]\nkey=first\nkey=2\n", "first"},
        {"[section]\na=first section\n[b]\n[section]\nkey=2\n", "<default>"},
        {"key=0\n[section]\n[open\nkey=1\n", "<default>"},
        {"[Section]\nkey=1\n[sectionX]\nkey=2\n[section]\nKey=3\nkey4=4\nke=5\n", "<default>"},
        {"[ section ]\nkey=1\n[section;]\nkey=2\n[section] x]\nkey\nkey=3\n", "3"},
        {"[section]\n\0key=no\nkey=va\0lue\nb=1\n"s, "va"},
        // A line of more than 1,023 characters comes in pieces.
        {"[section]\nkey=" + filler + "\n", filler},
        {"[section]\nkey=" + filler + "y\n", filler},
        {"[section]\nabc=" + filler + "key=1\n", "1"},
        {"[section]\nabc=" + filler + "[other]\nkey=1\n", "<default>"},
        {"[section]\n;abc" + filler + "key=1\n", "1"},
    };
    for (const auto& [text, value] : cases) {
        Write(text);
        EXPECT_EQ(Value(), value) << text;
    }
    for (std::size_t length = 16300; length < 16400; ++length) {  // around the end of a block
        Write("[a]\n" + std::string(length, 'x') + "\n[section]\nkey=value\n");
        ASSERT_EQ(Value(), "value") << length;
    }
}

TEST_F(Profile, CutsAValueAndADefaultToTheBuffer) {
    const std::string text = "abcdefghijkl";
    Write("[s]\nkey=" + text + "\n");
    for (unsigned int size = 0; size < 15; ++size) {
        const auto length = std::min(size == 0 ? 0 : size - 1, 12U);
        std::string buffer(size + 2, '#');
        text.copy(buffer.data(), length);
        buffer[length] = size == 0 ? '#' : '\0';
        EXPECT_EQ(Read("s", "key", size), (Result{length, buffer}));
        EXPECT_EQ(Read("s", "none", size, text.c_str()), (Result{length, buffer}));
    }
    EXPECT_EQ(Read("s", "none", 3, nullptr), (Result{0, "\0\0###"s}));
}

TEST_F(Profile, CutsAListSoThatBothTerminatorsRemain) {
    Write("[abc]\nk=1\n[de]\n");
    const std::pair<unsigned int, Result> cases[] = {
        {9, {7, "abc\0de\0\0###"s}},  // room to spare
        {8, {7, "abc\0de\0\0##"s}},   // fits, though size - 1 reads as perhaps cut
        {7, {5, "abc\0d\0\0##"s}},
        {6, {4, "abc\0\0###"s}},  // as full as it gets: no further
                                  // name is begun
        {5, {3, "abc\0\0##"s}},   // the first name fills the buffer, and a second one follows
        {3, {1, "a\0\0##"s}},
        {2, {0, "\0\0##"s}},
        {1, {0, "\0##"s}},
        {0, {0, "##"s}},
    };
    for (const auto& [size, wanted] : cases) {
        EXPECT_EQ(Read(nullptr, "k", size), wanted) << size;
    }
}

TEST_F(Profile, ListsSectionsAndKeys) {
    Write(
        "lost=1\n[b]\n;x=1\n z = 1\na;=1\ny\n=2\nz=3\nq=\n"
        "[a] tail\n[open\n[]\n [b]\nw=1\n[semi;colon]\n");
    EXPECT_EQ(Read(nullptr, nullptr, 9), (Result{6, "b\0a\0b\0\0####"s}));
    EXPECT_EQ(Read("b", nullptr, 9), (Result{6, "z\0z\0q\0\0####"s}));
    EXPECT_EQ(Read("a", nullptr, 4), (Result{0, "\0\0####"s}));
    EXPECT_EQ(Read("none", nullptr, 4), (Result{0, "\0\0####"s}));
}

// A line without end must not be held in memory, and is passed in linear time.
TEST_F(Profile, PassesAHugeLineInLittleMemory) {
    Write("[section]\nx=1\n");
    fs::resize_file(Path(), 100U << 20U);  // NUL bytes, which take no room on the disk
    std::ofstream(Path(), std::ios::app) << "\nkey=value\n";
    rusage before{};
    rusage after{};
    getrusage(RUSAGE_SELF, &before);
    EXPECT_EQ(Value(), "value");
    getrusage(RUSAGE_SELF, &after);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 4096);  // kilobytes
}

TEST_F(Profile, ChangesOneKeyOrOneSection) {
    const std::string filler(1021, 'x');
    const struct {
        const char* What;
        const char* Key;    // null: the section goes
        const char* Value;  // null: the key goes
        bool Result;
        std::string Before;
        std::string After;
    } cases[] = {
        {"no section", "k", "v", true, "", "\n[s]\n\nk=v\n"},
        {"no newline at the end", "k", "v", true, "[t]\na=1", "[t]\na=1\n[s]\n\nk=v\n"},
        {"first key", "k", "v", true, "[s]\n\nk=1\nb=2\n", "[s]\n\nk=v\nb=2\n"},
        {"first key gets an empty line", "k", "v", true, "[s]\nx\nk=1\n", "[s]\nx\n\nk=v\n"},
        {"first of two", "k", "v", true, "[s]\na=1\nk \t= o ; n\nk=2\n", "[s]\na=1\nk=v\nk=2\n"},
        {"comments above it go", "k", "v", true, "[s]\na=1\n\n;x\nk=1\n;y\nb=2\n",
         "[s]\na=1\nk=v\n;y\nb=2\n"},
        {"new key before the next header's comments", "k", "v", true,
         "[s]\na=1\n\n;t\n[t]\nb=1\n[s]\nk=1\n", "[s]\na=1\nk=v\n\n;t\n[t]\nb=1\n[s]\nk=1\n"},
        {"new key at the end", "k", "v", true, "[s]\na=1\n\n;end\n", "[s]\na=1\n\n;end\nk=v\n"},
        {"new key behind an unfinished line", "k", "v", true, "[s]\na=1", "[s]\na=1\nk=v\n"},
        {"an indented key is another one", "k", "v", true, "[s]\n k=1\n", "[s]\n k=1\nk=v\n"},
        {"no indented header or comment", "k", "v", true, "[s]\n [t]\n ;x\nk=1\n",
         "[s]\n [t]\n ;x\n\nk=v\n"},
        {"behind the header", "k", "v", true, "[sx]\nk=1\n[s]]x\na=1\nk=1",
         "[sx]\nk=1\n[s]]x\na=1\nk=v\n"},
        {"CR LF", "k", "v", true, "[s]\r\n\r\na=1\r\nk=1\r\nb=2\r\n",
         "[s]\r\n\r\na=1\r\nk=v\nb=2\r\n"},
        {"NUL bytes", "k", "v", true, "[s]\na=\0;\nb\0=1\nk=1\n\0[t]"s,
         "[s]\na=\0;\nb\0=1\nk=v\n\0[t]"s},
        // The pieces of a long line are lines of their own, as a read has it.
        {"second piece", "k", "v", true, "[s]\na=" + filler + "k=1\n",
         "[s]\na=" + filler + "k=v\n"},
        {"first piece", "k", "v", true, "[s]\n\nk=" + filler + "rest\nb=1\n",
         "[s]\n\nk=v\nrest\nb=1\n"},
        {"first key leaves the empty line", "k", nullptr, true, "[s]\nk=1\nb=2\n", "[s]\n\nb=2\n"},
        {"key with its comments", "k", nullptr, true, "[s]\na=1\n;x\n\nk=1\nb=2\n",
         "[s]\na=1\nb=2\n"},
        {"no key", "k", nullptr, false, "[s]\na=1\n[t]\nk=1\n", "[s]\na=1\n[t]\nk=1\n"},
        {"no key at the end", "k", nullptr, false, "[s]\na=1\n", "[s]\na=1\n"},
        {"section between others", nullptr, "ignored", true,
         "[a]\nx=1\n\n;s\n[s]\nk=1\n\n;b\n[b]\ny=1\n", "[a]\nx=1\n\n;b\n[b]\ny=1\n"},
        {"first section", nullptr, nullptr, true, "\n[s]\nk=1\n[s]\nk=2\n", "[s]\nk=2\n"},
        {"last section", nullptr, nullptr, true, "[a]\n\n[s]\nk=1\n\n;end", "[a]\n"},
        {"missing section", nullptr, nullptr, false, "[a]\nx=1\n", "[a]\nx=1\n"},
    };
    for (const auto& row : cases) {
        Write(row.Before);
        EXPECT_EQ(Change("s", row.Key, row.Value), row.Result) << row.What;
        EXPECT_EQ(Text(), row.After) << row.What;
    }
}

TEST_F(Profile, MakesAMissingFileOnlyForASetAndKeepsPermissions) {
    MakeDirectories(Path("."));
    EXPECT_TRUE(Change("S", "k", nullptr));
    EXPECT_TRUE(Change("S", nullptr, nullptr));
    EXPECT_FALSE(Exists(Path()));
    const mode_t mask = umask(0077);
    EXPECT_TRUE(Change("S", "k", "v"));
    umask(mask);
    EXPECT_EQ(Text(), "\n[S]\n\nk=v\n");
    EXPECT_EQ(fs::status(Path()).permissions(), fs::perms{0644});
    fs::permissions(Path(), fs::perms{0600});
    EXPECT_TRUE(Change("S", "k", "other"));
    EXPECT_EQ(fs::status(Path()).permissions(), fs::perms{0600});
}

TEST_F(Profile, TouchesNothingButRegularFiles) {
    MakeDirectories(Path("."));
    ASSERT_EQ(mkfifo(Path("fifo").c_str(), 0600), 0);
    char buffer[8];
    for (const std::string& path : {Path("none/missing"), Path("fifo"), Path(".")}) {
        EXPECT_EQ(GetPrivateProfileString("s", "k", "abc", buffer, 8, path.c_str()), 3U);
        EXPECT_STREQ(buffer, "abc");
        EXPECT_EQ(GetPrivateProfileString("s", "k", nullptr, buffer, 8, path.c_str()), 0U);
        EXPECT_STREQ(buffer, "");
        EXPECT_EQ(GetPrivateProfileString(nullptr, nullptr, "abc", buffer, 8, path.c_str()), 0U);
        EXPECT_STREQ(buffer, "");
        EXPECT_FALSE(WritePrivateProfileString("s", "k", "v", path.c_str())) << path;
    }
    EXPECT_EQ(GetPrivateProfileString("s", "k", "abc", nullptr, 8, Path().c_str()), 0U);
    EXPECT_EQ(GetPrivateProfileString("s", "k", "abc", buffer, 8, nullptr), 0U);
    EXPECT_FALSE(WritePrivateProfileString(nullptr, "k", "v", Path().c_str()));
    EXPECT_FALSE(WritePrivateProfileString("s", "k", "v", nullptr));
    // Offsets are those of files up to 2 GiB.
    Write("[s]\n");
    fs::resize_file(Path(), std::uintmax_t{1} << 31U);
    EXPECT_FALSE(Change("t", "k", "v"));
    EXPECT_EQ(fs::file_size(Path()), std::uintmax_t{1} << 31U);
}

TEST_F(Profile, MovesATailOfManyBuffers) {
    std::string tail;
    for (int i = 0; i < 20000; ++i) {
        tail += "key" + std::to_string(i) + "=value\n";
    }
    Write("[s]\na=1\nk=1\n" + tail);
    for (const char* value : {"longer than before", "2", "3"}) {
        EXPECT_TRUE(Change("s", "k", value));
        EXPECT_EQ(Text(), "[s]\na=1\nk=" + std::string(value) + "\n" + tail);
    }
}

// A full disk, by way of a limit on the size of files: the file must be what it was.
TEST_F(Profile, LosesNothingWhenThereIsNoRoom) {
    const std::string before = "[s]\na=1\nk=1\nb=2\n";
    Write(before);
    rlimit old{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{before.size() + 3, old.rlim_max};  // some bytes fit, not all
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    const bool isKeySet = Change("s", "k", "a longer value");
    const std::string afterKey = Text();
    const bool isSectionSet = Change("t", "k", "v");
    const std::string afterSection = Text();
    const bool isShortened = Change("s", "k", "");
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &old), 0);
    std::signal(SIGXFSZ, oldHandler);
    EXPECT_FALSE(isKeySet || isSectionSet);
    EXPECT_EQ(afterKey, before);
    EXPECT_EQ(afterSection, before);
    EXPECT_TRUE(isShortened);
    EXPECT_EQ(Text(), "[s]\na=1\nk=\nb=2\n");
}

}  // namespace

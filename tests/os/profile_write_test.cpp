#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "os/profile_string.h"
#include "tests/os/ini_fixture.h"

namespace {

using std::string_literals::operator""s;

class ProfileWrite : public CIniTest {
protected:
    [[nodiscard]] bool Change(const char* section, const char* key, const char* value) const {
        return WritePrivateProfileString(section, key, value, Path().c_str());
    }
};

struct Case {
    const char* What;
    std::string Before;
    bool Result;
    std::string After;
};

TEST_F(ProfileWrite, SetsAKey) {
    const Case cases[] = {
        {"empty file", "", true, "\n[s]\n\nk=v\n"},
        {"other sections only", "[t]\na=1\n", true, "[t]\na=1\n\n[s]\n\nk=v\n"},
        {"other section without newline", "[t]\na=1", true, "[t]\na=1\n[s]\n\nk=v\n"},
        {"first key", "[s]\n\nk=1\nb=2\n", true, "[s]\n\nk=v\nb=2\n"},
        {"first key directly below the header", "[s]\nk=1\n", true, "[s]\n\nk=v\n"},
        {"first key below garbage", "[s]\ngarbage\nk=1\n", true, "[s]\ngarbage\n\nk=v\n"},
        {"later key", "[s]\na=1\nk = old ; note\nb=2\n", true, "[s]\na=1\nk=v\nb=2\n"},
        {"comments above the key go", "[s]\na=1\n\n;x\nk=1\n;y\nb=2\n", true,
         "[s]\na=1\nk=v\n;y\nb=2\n"},
        {"first of two", "[s]\na=1\nk=1\nk=2\n", true, "[s]\na=1\nk=v\nk=2\n"},
        {"new key before the next header's comments", "[s]\na=1\n\n;t\n[t]\nb=1\n", true,
         "[s]\na=1\nk=v\n\n;t\n[t]\nb=1\n"},
        {"new key in a section without keys", "[s]\n[t]\n", true, "[s]\nk=v\n[t]\n"},
        {"new key at the end", "[t]\n[s]\na=1\n\n;end\n", true, "[t]\n[s]\na=1\n\n;end\nk=v\n"},
        {"new key behind an unfinished line", "[s]\na=1", true, "[s]\na=1\nk=v\n"},
        {"first section of a name", "[s]\na=1\n[s]\nk=1\n", true, "[s]\na=1\nk=v\n[s]\nk=1\n"},
        {"indented key is another one", "[s]\n k=1\n", true, "[s]\n k=1\nk=v\n"},
        {"indented comment is a line", "[s]\na=1\n ;x\nk=1\n", true, "[s]\na=1\n ;x\nk=v\n"},
        {"indented header is none", "[s]\n [t]\nk=1\n", true, "[s]\n [t]\n\nk=v\n"},
        {"blanks and tabs behind the key", "[s]\na=1\nk \t=1\n", true, "[s]\na=1\nk=v\n"},
        {"text behind the header", "[s]]x\na=1\nk=1\n", true, "[s]]x\na=1\nk=v\n"},
        {"longer section", "[sx]\nk=1\n", true, "[sx]\nk=1\n\n[s]\n\nk=v\n"},
        {"CR LF", "[s]\r\n\r\na=1\r\nk=1\r\nb=2\r\n", true, "[s]\r\n\r\na=1\r\nk=v\nb=2\r\n"},
        {"last line without newline", "[s]\na=1\nk=1", true, "[s]\na=1\nk=v\n"},
        {"NUL bytes stay", "[s]\na=\0;\nb\0=1\nk=1\n\0[t]"s, true,
         "[s]\na=\0;\nb\0=1\nk=v\n\0[t]"s},
        {"shorter", "[s]\na=1\nk=12345\nb=2\n", true, "[s]\na=1\nk=v\nb=2\n"},
        {"longer", "[s]\na=1\nk=\nb=2\n", true, "[s]\na=1\nk=v\nb=2\n"},
        {"the same", "[s]\na=1\nk=v\nb=2\n", true, "[s]\na=1\nk=v\nb=2\n"},
    };
    for (const Case& row : cases) {
        Write(row.Before);
        EXPECT_EQ(Change("s", "k", "v"), row.Result) << row.What;
        EXPECT_EQ(Text(), row.After) << row.What;
    }
}

TEST_F(ProfileWrite, DeletesAKey) {
    const Case cases[] = {
        {"first key leaves the empty line", "[s]\n\nk=1\nb=2\n", true, "[s]\n\nb=2\n"},
        {"only key", "[s]\nk=1\n", true, "[s]\n\n"},
        {"later key with its comments", "[s]\na=1\n;x\n\nk=1\nb=2\n", true, "[s]\na=1\nb=2\n"},
        {"missing before a header", "[s]\na=1\n[t]\nk=1\n", false, "[s]\na=1\n[t]\nk=1\n"},
        {"missing at the end", "[s]\na=1\n", false, "[s]\na=1\n"},
        {"missing section", "[t]\nk=1\n", false, "[t]\nk=1\n"},
        {"empty file", "", false, ""},
    };
    for (const Case& row : cases) {
        Write(row.Before);
        EXPECT_EQ(Change("s", "k", nullptr), row.Result) << row.What;
        EXPECT_EQ(Text(), row.After) << row.What;
    }
}

TEST_F(ProfileWrite, DeletesASection) {
    const Case cases[] = {
        {"between others", "[a]\nx=1\n\n;s\n[s]\nk=1\n\n;b\n[b]\ny=1\n", true,
         "[a]\nx=1\n\n;b\n[b]\ny=1\n"},
        {"first", "\n[s]\n\nk=1\n\n[b]\n", true, "\n[b]\n"},
        {"last, with what follows", "[a]\n\n[s]\nk=1\n\n;end", true, "[a]\n"},
        {"only one", "\n[s]\n\nk=1\n", true, ""},
        {"first of a name", "[s]\nk=1\n[s]\nk=2\n", true, "[s]\nk=2\n"},
        {"missing", "[a]\nx=1\n", false, "[a]\nx=1\n"},
        {"empty file", "", false, ""},
    };
    for (const Case& row : cases) {
        Write(row.Before);
        EXPECT_EQ(Change("s", nullptr, "ignored"), row.Result) << row.What;
        EXPECT_EQ(Text(), row.After) << row.What;
    }
}

TEST_F(ProfileWrite, MakesAMissingFileOnlyForASet) {
    EXPECT_TRUE(Change("S", "k", nullptr));
    EXPECT_TRUE(Change("S", nullptr, nullptr));
    EXPECT_FALSE(std::filesystem::exists(Path()));
    const mode_t mask = umask(0077);
    EXPECT_TRUE(Change("S", "k", "v"));
    umask(mask);
    EXPECT_EQ(Text(), "\n[S]\n\nk=v\n");
    EXPECT_EQ(std::filesystem::status(Path()).permissions(), std::filesystem::perms{0644});
    EXPECT_FALSE(WritePrivateProfileString("S", "k", "v", Path("none/test.ini").c_str()));
}

TEST_F(ProfileWrite, KeepsThePermissionsOfAFileThatExists) {
    Write("[a]\n");
    std::filesystem::permissions(Path(), std::filesystem::perms{0600});
    EXPECT_TRUE(Change("S", "k", "v"));
    EXPECT_EQ(std::filesystem::status(Path()).permissions(), std::filesystem::perms{0600});
}

TEST_F(ProfileWrite, RefusesWhatItCannotEdit) {
    EXPECT_FALSE(WritePrivateProfileString(nullptr, "k", "v", Path().c_str()));
    EXPECT_FALSE(WritePrivateProfileString("s", "k", "v", nullptr));
    const std::string fifo = Path("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& path : {fifo, Path(".")}) {
        EXPECT_FALSE(WritePrivateProfileString("s", "k", "v", path.c_str())) << path;
        EXPECT_FALSE(WritePrivateProfileString("s", "k", nullptr, path.c_str())) << path;
    }
    // Offsets are those of files up to 2 GiB.
    Write("[s]\n");
    std::filesystem::resize_file(Path(), std::uintmax_t{1} << 31U);
    EXPECT_FALSE(Change("t", "k", "v"));
    EXPECT_EQ(std::filesystem::file_size(Path()), std::uintmax_t{1} << 31U);
}

// The pieces of a line of more than 1,023 characters are lines of their own for an edit too, so
// that it agrees with what a read finds.
TEST_F(ProfileWrite, TakesALongLineInPieces) {
    const std::string filler(1021, 'x');
    Write("[s]\na=" + filler + "k=1\n");
    EXPECT_TRUE(Change("s", "k", "v"));
    EXPECT_EQ(Text(), "[s]\na=" + filler + "k=v\n");
    Write("[s]\n\nk=" + filler + "rest\nb=1\n");
    EXPECT_TRUE(Change("s", "k", "v"));
    EXPECT_EQ(Text(), "[s]\n\nk=v\nrest\nb=1\n");
}

TEST_F(ProfileWrite, MovesATailOfManyBuffers) {
    std::string tail;
    for (int i = 0; i < 20000; ++i) {
        tail += "key" + std::to_string(i) + "=value\n";
    }
    Write("[s]\na=1\nk=1\n" + tail);
    for (const char* value : {"longer than before", "2"}) {
        EXPECT_TRUE(Change("s", "k", value));
        EXPECT_EQ(Text(), "[s]\na=1\nk=" + std::string(value) + "\n" + tail);
    }
}

// A full disk, by way of a limit on the size of files: the file must be what it was.
TEST_F(ProfileWrite, LosesNothingWhenThereIsNoRoom) {
    const std::string before = "[s]\na=1\nk=1\nb=2\n";
    Write(before);
    rlimit old{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    // Some bytes fit, not all.
    const rlimit limit{.rlim_cur = before.size() + 3, .rlim_max = old.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    const bool isKeySet = Change("s", "k", "a longer value");
    const std::string afterKey = Text();
    const bool isSectionSet = Change("t", "k", "v");
    const std::string afterSection = Text();
    const bool isShortened = Change("s", "k", "");
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &old), 0);
    std::signal(SIGXFSZ, oldHandler);
    EXPECT_FALSE(isKeySet);
    EXPECT_EQ(afterKey, before);
    EXPECT_FALSE(isSectionSet);
    EXPECT_EQ(afterSection, before);
    EXPECT_TRUE(isShortened);
    EXPECT_EQ(Text(), "[s]\na=1\nk=\nb=2\n");
}

}  // namespace

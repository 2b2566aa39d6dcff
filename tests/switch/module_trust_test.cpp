// Which module directories, files and settings the switch takes, and which it refuses.
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "base/paths.h"
#include "tests/support/files.h"
#include "tests/switch/switch_fixture.h"

class ModuleTrust : public CSwitchTest {
protected:
    // Whether alpha is loaded, and if not, that an entry says why.
    void ExpectRefusal(const std::string& why) {
        EXPECT_TRUE(TextsWith("alpha: created").empty());
        EXPECT_EQ(TextsWith(why).size(), 1U) << why;
    }
};

TEST_F(ModuleTrust, RefusesFilesThatOthersCanWriteAndWhatIsNoLibraryFile) {
    const std::string folder = kDirectory;
    for (const mode_t mode : {0775U, 0757U}) {
        SetUp();
        const std::string path = Install("alpha");
        chmod(path.c_str(), mode);
        MakeDirectories(folder + "/folder.so");
        ASSERT_EQ(symlink("/nowhere", (folder + "/dangling.so").c_str()), 0);
        WriteFile(folder + "/garbage.so", "no ELF file");
        WriteFile(folder + "/empty.so", "");
        EXPECT_TRUE(Load());
        ExpectRefusal(path + ": can be written by group or others");
        ExpectRefusal("folder.so: is not a regular file");
        ExpectRefusal("dangling.so: No such file");
        ExpectRefusal("module garbage.so not loaded");
        ExpectRefusal("module empty.so not loaded");
        m_Library.Release();
    }
}

TEST_F(ModuleTrust, RefusesFilesAndDirectoriesThatAreNotRoots) {
    const std::string path = Install("alpha");
    if (chown(path.c_str(), 1, 1) != 0) {
        GTEST_SKIP() << "this root has no other user";
    }
    EXPECT_TRUE(Load());
    ExpectRefusal(path + ": does not belong to root");
    ASSERT_EQ(chown(kDirectory, 1, 1), 0);
    EXPECT_FALSE(Load());
    ExpectRefusal("module directory not used: " + std::string(kDirectory) +
                  ": does not belong to root");
}

TEST_F(ModuleTrust, FollowsLinksAndLooksAtTheWayToTheirEnd) {
    const std::string file = Install("alpha", "alpha.library");
    const std::string link = std::string(kDirectory) + "/alpha.so";
    const std::string open = "/var/lib/open";
    MakeDirectories(open);
    chmod(open.c_str(), 0777);
    ASSERT_EQ(rename(file.c_str(), (open + "/alpha").c_str()), 0);
    ASSERT_EQ(symlink((open + "/alpha").c_str(), link.c_str()), 0);
    EXPECT_TRUE(Load());
    ExpectRefusal(open + ": can be written by group or others");
    EXPECT_TRUE(m_Switch->UnloadModules(0));
    chmod(open.c_str(), 01777);  // sticky: nobody else can replace root's file there
    EXPECT_TRUE(Load());
    EXPECT_EQ(TextsWith("alpha: created").size(), 1U);
}

TEST_F(ModuleTrust, FailsToLoadWithoutADirectoryThatIsRootsAlone) {
    EXPECT_TRUE(Load());
    ExpectRefusal("no modules in /var/lib/modules");
    Install("alpha");
    const std::string directory = kDirectory;
    const auto write = [](const std::string& path) {
        WriteFile(paths::kSwitchConfigFile, "[Modules]\nDirectory=" + path + "\n");
    };
    write("/nowhere");
    EXPECT_FALSE(Load());
    ExpectRefusal("module directory not used: /nowhere: No such file or directory");
    write(directory + "/alpha.so");
    EXPECT_FALSE(Load());
    ExpectRefusal("module directory not used: " + directory + "/alpha.so: is not a directory");
    write(directory);
    chmod("/var/lib", 0775);
    EXPECT_FALSE(Load());
    chmod("/var/lib", 0755);
    ExpectRefusal("module directory not used: /var/lib: can be written by group or others");
    // The default, which the private root does not have.
    Remove(paths::kSwitchConfigFile);
    EXPECT_FALSE(Load());
    ExpectRefusal("module directory not used: /usr/lib/morla/modules: No such file or directory");
    EXPECT_TRUE(m_Switch->UnloadModules(0));
}

TEST_F(ModuleTrust, RefusesSettingsThatOthersCanWriteAndNumbersThatAreNone) {
    Install("alpha");
    chmod(paths::kSwitchConfigFile, 0666);
    EXPECT_FALSE(Load());
    ExpectRefusal("settings not used: /etc/quorvat/switch.ini: can be written by group or others");
    chmod(paths::kSwitchConfigFile, 0644);
    Configure("StopTimeoutMs=soon\n");
    EXPECT_TRUE(Load());
    EXPECT_EQ(
        TextsWith("StopTimeoutMs in /etc/quorvat/switch.ini is not 1 to 600000, using 5000").size(),
        1U);
}

// Attributes, links and folders of a tree like /sys.
#include "hardware/sysfs.h"

#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/files.h"
#include "tests/support/private_root_guard.h"

namespace {

constexpr char kTree[] = "/sys/class/test";

TEST(Sysfs, WhatCannotBeReadIsAbsent) {
    RequirePrivateRoot();
    const std::string tree = kTree;
    WriteFile(tree + "/b", std::string(" 0x1F\0\n", 7));
    WriteFile(tree + "/a", " \n");
    WriteFile(tree + "/c", std::string(5000, '7'));
    WriteFile(tree + "/d", "-1\n");
    ASSERT_EQ(symlink("../../bus/driver-x", (tree + "/driver").c_str()), 0);
    EXPECT_EQ(sysfs::ReadAttribute(tree + "/a"), "");
    EXPECT_EQ(sysfs::ReadAttribute(tree + "/b"), "0x1F");
    EXPECT_EQ(sysfs::ReadAttribute(tree + "/c", 3), "777");
    EXPECT_EQ(sysfs::ReadAttribute(tree), std::nullopt);
    EXPECT_EQ(sysfs::ReadAttribute(tree + "/gone"), std::nullopt);
    EXPECT_EQ(sysfs::ReadNumber(tree + "/b"), 0x1FU);
    EXPECT_EQ(sysfs::ReadNumber(tree + "/a"), std::nullopt);
    EXPECT_EQ(sysfs::ReadNumber(tree + "/c"), std::nullopt);
    EXPECT_EQ(sysfs::ReadNumber(tree + "/d"), std::nullopt);
    EXPECT_EQ(sysfs::ReadLink(tree + "/driver"), "driver-x");
    EXPECT_EQ(sysfs::ReadLink(tree + "/a"), std::nullopt);
    EXPECT_EQ(sysfs::ResolvePath(tree + "/driver"), std::nullopt);
    EXPECT_EQ(sysfs::ResolvePath(tree + "/../test/a"), tree + "/a");
    EXPECT_EQ(sysfs::ListDirectory(tree), (std::vector<std::string>{"a", "b", "c", "d", "driver"}));
    EXPECT_TRUE(sysfs::ListDirectory(tree + "/gone").empty());
    Remove(tree);
}

}  // namespace

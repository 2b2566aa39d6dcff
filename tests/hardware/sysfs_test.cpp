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
    ASSERT_EQ(symlink("../../bus/driver-x", (tree + "/driver").c_str()), 0);
    EXPECT_EQ(sysfs::ReadAttribute(tree + "/a"), "");
    EXPECT_EQ(sysfs::ReadAttribute(tree + "/b"), "0x1F");
    EXPECT_EQ(sysfs::ReadAttribute(tree + "/c", 3), "777");
    EXPECT_EQ(sysfs::ReadAttribute(tree + "/gone"), std::nullopt);
    EXPECT_EQ(sysfs::ReadNumber(tree + "/b"), 0x1FU);
    EXPECT_EQ(sysfs::ReadNumber(tree + "/c"), std::nullopt);
    EXPECT_EQ(sysfs::ReadLink(tree + "/driver"), "driver-x");
    EXPECT_EQ(sysfs::ResolvePath(tree + "/driver"), std::nullopt);
    EXPECT_EQ(sysfs::ResolvePath(tree + "/../test/a"), tree + "/a");
    EXPECT_EQ(sysfs::ListDirectory(tree), (std::vector<std::string>{"a", "b", "c", "driver"}));
    Remove(tree);
}

TEST(Sysfs, DeviceHangsOnTheLastPciFunctionOfItsPath) {
    EXPECT_EQ(sysfs::FindPciAddress("/sys/devices/pci0000:00/0000:00:01.0/0000:03:00.1/net/eth0"),
              CPciAddress(0, 3, 0, 1));
    EXPECT_EQ(sysfs::FindPciAddress("/sys/devices/pci0000:00/0000:00:0e.0/pci10000:00/10000:01:00.0"
                                    "/nvme/nvme0"),
              CPciAddress(0, 0, 0x0E, 0));
    EXPECT_EQ(sysfs::FindPciAddress("/sys/devices/virtual/net/lo"), std::nullopt);
}

}  // namespace

// Lines of the mount table: fields, escapes, what is no entry.
#include "hardware/mount_table.h"

#include <gtest/gtest.h>

namespace {

using namespace std::string_view_literals;

TEST(MountTable, EntriesHaveFieldsAndDecodedEscapes) {
    struct Row {
        std::string_view Line;
        mounts::Entry Entry;  // no type: the line is none
    };
    const Row rows[] = {
        {"/dev/sda1 / ext4 rw,relatime 0 0", {"/dev/sda1", "/", "ext4", "rw,relatime"}},
        {"srv:/x\t /a\\040b\\011c\\012d\\134e nfs4 rw", {"srv:/x", "/a b\tc\nd\\e", "nfs4", "rw"}},
        {"\\043x /y\\377 proc", {"#x", "/y\xFF", "proc", ""}},
        // Neither three octal digits, nor a character, nor a NUL.
        {"a\\04 /\\400\\000 t\\ o\\1348", {"a\\04", "/\\400\\000", "t\\", "o\\8"}},
        {"/dev/sda1 / ext4 rw\0,ro"sv, {"/dev/sda1", "/", "ext4", "rw"}},
        {"# /dev/sda1 / ext4 rw", {}},
        {"/dev/sda1 /only-two ", {}},
    };
    for (const Row& row : rows) {
        const std::string around = "proc /proc proc rw 0 0";
        const auto entries =
            mounts::ParseMountTable(around + "\n" + std::string(row.Line) + "\n" + around);
        ASSERT_EQ(entries.size(), row.Entry.Type.empty() ? 2U : 3U) << row.Line;
        if (entries.size() == 3) {
            EXPECT_EQ(entries[1].Device, row.Entry.Device);
            EXPECT_EQ(entries[1].MountPoint, row.Entry.MountPoint);
            EXPECT_EQ(entries[1].Type, row.Entry.Type);
            EXPECT_EQ(entries[1].Options, row.Entry.Options);
        }
    }
}

}  // namespace

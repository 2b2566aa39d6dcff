// Answers to INQUIRY, most of them odd.
#include "hardware/scsi_inquiry.h"

#include <gtest/gtest.h>

#include "hardware/drive_place.h"
#include "hardware/volume_kind.h"
#include "tests/hardware/drive_tree.h"

namespace {

using namespace std::string_literals;
using drive_tree::Page;

TEST(ScsiInquiry, SerialNumberIsTextOfPage80AndNothingElse) {
    struct Row {
        const char* Name;
        std::string Bytes;
        std::optional<std::string> Serial;
    };
    const std::string page = Page(0x80, "  Z1Z2 Z3 \0"s);
    const Row rows[] = {
        {"text", page, "Z1Z2 Z3"},
        {"empty", Page(0x80, ""), ""},
        {"cut", page.substr(0, page.size() - 1), std::nullopt},
        {"another page", Page(0x83, "Z1"), std::nullopt},
        {"escape bytes", Page(0x80, "Z\x1b[2J"), std::nullopt},
        // As answered by a device that does not know pages.
        {"standard data", "\x05\x80\x00\x02\x1f\0\0\0VENDOR  "s, std::nullopt},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(scsi::ParseUnitSerial(CByteView(row.Bytes)), row.Serial) << row.Name;
    }
}

TEST(ScsiInquiry, WorldWideNameIsTheLongestNaaOfTheUnit) {
    const std::string naa = "\x01\x03\0\x08\x50\0\xC5\0\xA1\xB2\xC3\xD4"s;
    const std::string ofPort = "\x01\x13\0\x08\x60\0\0\0\0\0\0\1"s;
    const std::string longNaa = "\x01\x03\0\x10\x60\0\0\0\0\0\0\1\0\0\0\0\0\0\0\2"s;
    const std::string eui = "\x01\x02\0\x08\0\x25\x38\x8b\x71\xb2\xc3\xd4"s;
    const std::string ata = "\x02\x01\0\x44"s + "ATA     " +
                            "MODEL WITH MORE THAN SIXTEEN LETTERS    " + "            SERIAL12";
    const auto name = [](const std::string& body) {
        const std::string page = Page(0x83, body);
        return scsi::WorldWideName(scsi::ParseDesignators(CByteView(page)));
    };
    EXPECT_EQ(name(ata + ofPort + eui + naa), "0x5000c500a1b2c3d4");
    EXPECT_EQ(name(naa + longNaa), "0x60000000000000010000000000000002");
    EXPECT_EQ(name(ofPort + eui), "eui.0025388b71b2c3d4");
    // The designator that is cut does not count, those before it do.
    EXPECT_EQ(name(naa + longNaa.substr(0, 19)), "0x5000c500a1b2c3d4");
    EXPECT_EQ(name(naa.substr(0, 3)), "");
    const std::string page = Page(0x83, naa + ata);
    const auto identity = scsi::FindAtaIdentity(scsi::ParseDesignators(CByteView(page)));
    ASSERT_TRUE(identity);
    EXPECT_EQ(identity->Model, "MODEL WITH MORE THAN SIXTEEN LETTERS");
    EXPECT_EQ(identity->Serial, "SERIAL12");
    const std::string cut = page.substr(0, page.size() - 1);
    EXPECT_TRUE(scsi::ParseDesignators(CByteView(cut)).empty());
}

TEST(ScsiInquiry, StandardDataEndAtTheirLength) {
    std::string data = "\x65\x80\x06\x02\x1f\0\0\0VENDOR  PRODUCT NAME    1.0 "s;
    EXPECT_EQ(scsi::ParseStandardInquiry(CByteView(data))->DeviceType, 5);
    EXPECT_EQ(scsi::ParseStandardInquiry(CByteView(data))->Qualifier, 3);
    EXPECT_TRUE(scsi::ParseStandardInquiry(CByteView(data))->IsRemovable);
    EXPECT_EQ(scsi::ParseStandardInquiry(CByteView(data))->Version, 6);
    EXPECT_EQ(scsi::ParseStandardInquiry(CByteView(data))->Revision, "1.0");
    EXPECT_FALSE(scsi::ParseStandardInquiry(CByteView(std::string_view(data).substr(0, 4))));
    EXPECT_EQ(scsi::ParseStandardInquiry(CByteView(data))->Product, "PRODUCT NAME");
    data[4] = 19;  // up to byte 23
    EXPECT_EQ(scsi::ParseStandardInquiry(CByteView(data))->Vendor, "VENDOR");
    EXPECT_EQ(scsi::ParseStandardInquiry(CByteView(data))->Product, "");
}

TEST(DrivePlace, PathTellsTransport) {
    const char* const rows[][2] = {
        {"/devices/0000:00:14.0/usb2/2-1/2-1:1.0/host6/target6:0:0/6:0:0:0", "usb"},
        {"/devices/0000:81:00.0/host5/rport-5:0-0/target5:0:0/5:0:0:1", "fc"},
        {"/devices/platform/host7/session1/target7:0:0/7:0:0:0", "iscsi"},
        {"/devices/pci0000:00/0000:02:00.0/host0/target0:2:0/0:2:0:0", ""},
    };
    for (const auto& [path, transport] : rows) {
        EXPECT_EQ(drive_place::Transport(path), transport) << path;
    }
    const char* const names[] = {"nvme0n1", "nvme0n2", "nvme10n1", "sda", "sdb", "sdaa", "sr0"};
    for (std::size_t i = 0; i + 1 < std::size(names); ++i) {
        EXPECT_TRUE(drive_place::IsNameBefore(names[i], names[i + 1])) << names[i];
    }
}

TEST(VolumeKind, TypeCountsBeforeDevice) {
    struct Row {
        const char* Type;
        const char* Device;
        VolumeKind Kind;
    };
    const Row rows[] = {
        {"nfs4", "/dev/sda1", VolumeKind::kNetwork},
        {"fuse.sshfs", "user@host:", VolumeKind::kNetwork},
        {"fuse.mergerfs", "a:b", VolumeKind::kUserSpace},
        {"newfs", "[fe80::1]:/export", VolumeKind::kNetwork},
        {"newfs", "//server/share", VolumeKind::kNetwork},
        {"newfs", "/dev/disk/by-path/pci-0000:00:1f.2-ata-1", VolumeKind::kDisk},
        {"newfs", "word", VolumeKind::kOther},
        {"autofs", "/etc/auto.misc", VolumeKind::kAutomount},
        {"newfs", "C:/x", VolumeKind::kNetwork},
        {"newfs", ":/x", VolumeKind::kOther},
        {"newfs", "x/y:z", VolumeKind::kOther},
        {"fuse", "word", VolumeKind::kUserSpace},
        {"fuseblk", "/dev/sda1", VolumeKind::kDisk},
        {"overlay", "overlay", VolumeKind::kLayered},
        {"zfs", "tank/home", VolumeKind::kDisk},
        {"proc", "proc", VolumeKind::kPseudo},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(ClassifyVolume(row.Type, row.Device), row.Kind) << row.Type << ' ' << row.Device;
    }
}

}  // namespace

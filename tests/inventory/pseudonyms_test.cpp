// What an anonymous capture puts in the place of serial numbers, names and addresses.
#include "tools/capture/pseudonyms.h"

#include <gtest/gtest.h>

#include "hardware/scsi_inquiry.h"
#include "tools/capture/anonymous.h"

namespace {

using tools::CCapturedTree;
using tools::CPseudonyms;

TEST(Pseudonyms, KeepShapeAndAreTheSameForTheSame) {
    CPseudonyms names;
    const std::string serial = names.OfText("S3RIAL-4711a");
    EXPECT_EQ(names.OfText("S3RIAL-4711a"), serial);
    EXPECT_NE(serial, "S3RIAL-4711a");
    EXPECT_EQ(serial[6], '-');
    const std::string mac = names.OfHex("00:1b:21:a4:5e:7f");
    EXPECT_EQ(mac[2], ':');
    EXPECT_EQ(names.ReplaceIn("enx001b21a45e7f").substr(3, 2), mac.substr(0, 2));
    EXPECT_EQ(names.OfHex("00:00:00:00:00:00"), "00:00:00:00:00:00");
    EXPECT_EQ(names.OfHex("5000c500a1b2c3d4", 1)[0], '5');
    EXPECT_EQ(names.ReplaceIn("x S3RIAL-4711a y"), "x " + serial + " y");
    EXPECT_EQ(names.OfText("0000000"), "0000000");
    EXPECT_NE(names.OfText("10"), "10");
    EXPECT_EQ(names.ReplaceIn("1000"), "1000");  // a number as short as that stands for much
    const std::string uuid = "0f5c8d31-7a64-4e2b-9c11-5d0e8a7b6c42";
    EXPECT_NE(names.ReplaceIn("luks-" + uuid), "luks-" + uuid);
    EXPECT_EQ(names.ReplaceIn("luks-" + uuid), "luks-" + names.OfHex(uuid));
}

TEST(AnonymousCapture, HidesNumbersInEveryFormAndKeepsThemConsistent) {
    using namespace std::string_literals;
    const std::string model = "DISK MODEL 1" + std::string(28, ' ');
    const std::string serial = "            WD-4711X";
    const std::string designator = "ATA     " + model + serial;
    CCapturedTree tree;
    tree.AddFile("/sys/d/vpd_pg80", "\0\x80\0\x14"s + serial);
    tree.AddFile("/sys/d/vpd_pg83", "\0\x83\0\x54\2\1\0\x44"s + designator +
                                        "\1\3\0\x08\x50\0\xC5\0\xA1\xB2\xC3\xD4"s);
    tree.AddFile("/sys/d/sas_address", "0x5000c500a1b2c3d4\n");
    tree.AddFile("/sys/d/wwid", "t10.ATA     DISK MODEL 1       WD-4711X\n");
    tree.AddFile("/sys/d/model", "WD-4711X\n");  // not a number's place
    const auto items = tools::MakeAnonymous(tree).Items;
    const std::string page80 = items.at("/sys/d/vpd_pg80").Text;
    const auto hidden = scsi::ParseUnitSerial(CByteView(page80));
    ASSERT_TRUE(hidden);
    EXPECT_NE(*hidden, "WD-4711X");
    const std::string page83 = items.at("/sys/d/vpd_pg83").Text;
    const auto designators = scsi::ParseDesignators(CByteView(page83));
    const auto identity = scsi::FindAtaIdentity(designators);
    ASSERT_TRUE(identity);
    EXPECT_EQ(identity->Model, "DISK MODEL 1");
    EXPECT_EQ(identity->Serial, *hidden);
    EXPECT_EQ(scsi::WorldWideName(designators) + "\n", items.at("/sys/d/sas_address").Text);
    EXPECT_NE(items.at("/sys/d/sas_address").Text, "0x5000c500a1b2c3d4\n");
    EXPECT_EQ(items.at("/sys/d/wwid").Text, "t10.ATA     DISK MODEL 1       " + *hidden + "\n");
}

}  // namespace

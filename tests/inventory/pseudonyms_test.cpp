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

TEST(AnonymousCapture, HidesTheNumberAndKeepsWhatStandsAroundIt) {
    using namespace std::string_literals;
    const struct {
        const char* File;
        std::string Text;
        std::string Kept;    // in front
        std::string Behind;  // kept at the end
    } rows[] = {
        {"wwid", "naa.5000c500a1b2c3d4\n", "naa.5", "\n"},
        {"wwid", "eui.0025388b71b2c3d4", "eui.", ""},
        {"wwid", "uuid.0f5c8d31-7a64-4e2b-9c11-5d0e8a7b6c42", "uuid.", ""},
        {"wwid", "nvme.8086-53313437313131-4d4f44454c-00000001", "nvme.8086-",
         "-4d4f44454c-00000001"},
        {"wwid", "nvme.8086-53313437313131", "nvme.8086-", ""},
        {"wwid", "nvme.53313437313131", "nvme.", ""},
        {"wwid", "t10.S3RIAL4711", "t10.", ""},
        {"wwid", "S3RIAL4711\n", "", "\n"},
        {"serial", " S3RIAL4711 \n", " ", " \n"},
        {"port_name", "0x21000024ff7e2d10\n", "0x2", "\n"},
        {"net/eth0/address", "00:1b:21:a4:5e:7f\n", "", "\n"},
        {"vpd_pg83", "\0\x83\0\x12\2\1\0\x0EVENDOR  SN4711"s, "\0\x83\0\x12\2\1\0\x0EVENDOR  "s,
         ""},
        {"vpd_pg83", "\0\x83\0\x18\3\x08\0\x14naa.5000c500a1b2c3d5"s,
         "\0\x83\0\x18\3\x08\0\x14naa.5"s, ""},
    };
    for (const auto& row : rows) {
        CCapturedTree tree;
        tree.AddFile(std::string("/sys/d/") + row.File, row.Text);
        const auto items = tools::MakeAnonymous(tree).Items;
        const std::string text = items.begin()->second.Text;
        EXPECT_EQ(text.size(), row.Text.size()) << row.Text;
        EXPECT_NE(text, row.Text);
        EXPECT_TRUE(text.starts_with(row.Kept) && text.ends_with(row.Behind)) << text;
    }
    for (const auto& [file, text] : {std::pair<std::string, std::string>{"serial", " \n"},
                                     {"port_name", "unknown 4711"},
                                     {"address", "0000:00:1f.2"},
                                     {"vpd_pg80", "\0\x80"s},
                                     {"vpd_pg83", "\0\x83\0\4\1\3\0\0"s},
                                     {"wwid", ""}}) {
        CCapturedTree tree;
        tree.AddFile("/sys/d/" + file, text);
        EXPECT_EQ(tools::MakeAnonymous(tree).Items.begin()->second.Text, text) << file;
    }
}

TEST(AnonymousCapture, LeavesTheFirmwareTableItsShape) {
    using namespace std::string_literals;
    const std::string uuid = "ABCDEFGHIJKLMNOP";
    const std::string table =
        "\1\x1b\1\0\0\0\0\2"s + uuid + "\0\0\0Maker\0S3RIAL4711\0\0"s +  // its serial is string 2
        "\2\x09\2\0\0\0\0\1\3SN-47114711\0\0"s +                         // no string 3
        "\3\x09\3\0\0\0\0\0\1TAG-4711\0\0\1\5\4\0\1S3RIAL4712\0\0"s;     // too short a system
    CCapturedTree tree;
    tree.AddFile("/sys/firmware/dmi/tables/DMI", table);
    const std::string made = tools::MakeAnonymous(tree).Items.begin()->second.Text;
    std::string shown = made;
    ASSERT_EQ(made.size(), table.size());
    for (const std::string& number : {uuid, "S3RIAL4711"s, "SN-47114711"s, "TAG-4711"s}) {
        const std::size_t at = table.find(number);
        EXPECT_NE(made.substr(at, number.size()), number);
        shown.replace(at, number.size(), number);
    }
    EXPECT_EQ(shown, table);
}

}  // namespace

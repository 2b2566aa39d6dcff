// The description of hostile records, and the comparison of two descriptions.
#include <gtest/gtest.h>

#include "inventory/changes.h"
#include "inventory/report.h"

namespace {

using inventory::Json;

constexpr char kHostile[] = "\x1b[2J\xFF\xC3 \"quoted\" \\ \n%n";

inventory::Snapshot HostileSnapshot() {
    inventory::Snapshot snapshot;
    CPciSlotData function;
    function.m_Address = CPciAddress(0, 3, 0, 0);
    function.m_Header.m_VendorId = 0x8086;
    function.m_SlotNumber = 7;
    function.m_SlotDesignation = kHostile;
    snapshot.Functions[function.m_Address] = function;
    CSystemAdapter adapter;
    adapter.m_Address = function.m_Address;
    adapter.m_Name.Text = kHostile;
    adapter.m_Interfaces.push_back({});
    snapshot.Adapters.push_back(adapter);
    CSystemDrive drive;
    drive.m_Name = "sda";
    drive.m_Model = kHostile;
    drive.m_Serial = CFinding<std::string>::Absent("the drive refuses the question");
    drive.m_HostAddress = function.m_Address;
    snapshot.Drives.push_back(drive);
    CSystemVolume volume;
    volume.m_Name = kHostile;
    volume.m_MountPoints.push_back({kHostile, kHostile, true});
    volume.m_Drives = {"sda"};
    snapshot.Volumes.push_back(volume);
    return snapshot;
}

TEST(Description, IsAsciiThatParsesWhateverTheRecordsHold) {
    const std::string text = json_text::Dump(inventory::Describe(HostileSnapshot()));
    EXPECT_EQ(text.find_first_not_of("\n -~" +
                                     [] {
                                         std::string ascii;
                                         for (char c = ' '; c < 0x7F; ++c) {
                                             ascii += c;
                                         }
                                         return ascii;
                                     }()),
              std::string::npos);
    const Json json = Json::parse(text);
    EXPECT_EQ(json["version"], 1);
    EXPECT_EQ(json["slots"]["functions"][0]["slot"], 7);
    EXPECT_EQ(json["slots"]["functions"][0]["secondary_bus"], Json());
    EXPECT_EQ(json["drives"][0]["serial"], Json());
    EXPECT_EQ(json["drives"][0]["serial_reason"], "the drive refuses the question");
    EXPECT_EQ(json["drives"][0]["model"], "\x1b[2J\xEF\xBF\xBD\xEF\xBF\xBD \"quoted\" \\ \n%n");
}

TEST(Report, ShowsSlotCardDriveAndVolumeOfHostileRecords) {
    const Json json = inventory::Describe(HostileSnapshot());
    const std::vector<std::string> tree = inventory::DrawInventory(json, true);
    ASSERT_GE(tree.size(), 5U);
    EXPECT_TRUE(tree[0].starts_with("Slot 7  \"\\x1b[2J"));
    EXPECT_TRUE(tree[1].starts_with("`- 0000:03:00.0  "));
    EXPECT_TRUE(tree.back().starts_with("      `- ")) << tree.back();
    EXPECT_FALSE(inventory::ListInventory(json, true).empty());
}

TEST(Changes, NameWhatCameAndWentAndNothingElse) {
    const Json before = inventory::Describe(HostileSnapshot());
    Json after = before;
    after["volumes"][0]["free"] = 5;
    EXPECT_TRUE(inventory::CompareInventories(before, after).empty());
    after["slots"]["functions"][0]["device_id"] = "1533";
    after["drives"][0]["serial"] = "S1";
    std::string found;
    for (const inventory::Change& change : inventory::CompareInventories(before, after)) {
        found += (change.HasCome ? "+" : "-") + change.What.substr(0, 13) + "\n";
    }
    EXPECT_EQ(found, "-PCI function \n-drive sda (\x1b[\n+PCI function \n+drive sda (\x1b[\n");
    for (const char* const damaged :
         {"null", "[]", "7", R"({"slots":3,"drives":{"a":1}})",
          R"({"slots":{"functions":[1,{"address":[]}]},"drives":[null]})"}) {
        EXPECT_FALSE(inventory::CompareInventories(Json::parse(damaged), before).empty());
    }
}

}  // namespace

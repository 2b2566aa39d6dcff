// The adapter scan on a tree like /sys: what each record holds, and who gives the names.
#include "hardware/system_adapter.h"

#include <unistd.h>

#include <gtest/gtest.h>

#include "base/paths.h"
#include "hardware/system_adapter_list.h"
#include "tests/daemon/trace_log.h"
#include "tests/support/files.h"

namespace {

constexpr char kNetwork[] = "/sys/devices/pci0000:00/0000:00:1c.0/0000:03:00.0";
constexpr char kStorage[] = "/sys/devices/pci0000:00/0000:04:00.0";
const CPciAddress kNetworkAddress(0, 3, 0, 0);

class SystemAdapter : public CTraceLogTest {
protected:
    void SetUp() override {
        CTraceLogTest::SetUp();
        Remove("/sys/devices");
        Remove("/sys/bus/pci");
        Remove("/sys/class");
        Remove(paths::kAdapterNames);
        AddFunction(kNetworkAddress, 0x1533, 0x02, 0x00, kNetwork);
        AddFunction(CPciAddress(0, 4, 0, 0), 0x2261, 0x0C, 0x04, kStorage);
        AddFunction(CPciAddress(0, 5, 0, 0), 0x9999, 0x01, 0x04, "");  // has gone meanwhile
    }
    static void Link(const std::string& target, const std::string& path) {
        MakeDirectories(path.substr(0, path.rfind('/')));
        ASSERT_EQ(symlink(target.c_str(), path.c_str()), 0) << path;
    }
    void AddFunction(const CPciAddress& address, std::uint16_t device, std::uint8_t baseClass,
                     std::uint8_t subClass, const std::string& path) {
        CPciSlotData& function = m_Functions[address];
        function.m_Address = address;
        function.m_Header.m_VendorId = 0x8086;
        function.m_Header.m_DeviceId = device;
        function.m_Header.m_BaseClass = baseClass;
        function.m_Header.m_SubClass = subClass;
        function.m_Header.m_RevisionId = 3;
        function.m_Header.m_LayoutPart[0x1C] = 0x3C;  // subsystem 103c:00a1
        function.m_Header.m_LayoutPart[0x1D] = 0x10;
        function.m_Header.m_LayoutPart[0x1E] = 0xA1;
        function.m_SlotNumber = 7;
        MakeDirectories(paths::kSysPciDevices);
        if (!path.empty()) {
            MakeDirectories(path);
            Link(path, paths::kSysPciDevices + ("/" + address.ToString()));
        }
    }
    static void AddNetworkAttributes() {
        const std::string device = kNetwork;
        WriteFile(device + "/resource",
                  "0x00000000f7a00000 0x00000000f7afffff 0x0000000000040200\n"
                  "0x0000000000000000 0x0000000000000000 0x0000000000000000\n"
                  "0x000000000000e000 0x000000000000e01f 0x0000000000040101\n"
                  "0x0000000000000000 0x00000000000fffff 0x0000000020040200\nodd\n");
        WriteFile(device + "/irq", "17\n");
        WriteFile(device + "/msi_irqs/120", "msix\n");
        WriteFile(device + "/msi_irqs/99", "msix\n");
        WriteFile(device + "/numa_node", "-1\n");
        WriteFile(device + "/current_link_speed", "2.5 GT/s PCIe\n");
        WriteFile(device + "/max_link_speed", "Unknown\n");
        WriteFile(device + "/max_link_width", "255\n");
        Link("/sys/bus/pci/drivers/igb", device + "/driver");
        Link("/sys/module/igb_main", "/sys/bus/pci/drivers/igb/module");
        WriteFile(device + "/net/eth0/address", "02:fc:00:00:00:01\n");
        WriteFile(device + "/net/eth0/addr_assign_type", "3\n");
        WriteFile(device + "/net/eth0/operstate", "down\n");
        WriteFile(device + "/net/eth0/speed", "-1\n");
        Link(device, device + "/net/eth0/device");
        Link(device + "/net/eth0", "/sys/class/net/eth0");
        WriteFile("/sys/devices/virtual/net/lo/address", "00:00:00:00:00:00\n");
        Link("/sys/devices/virtual/net/lo", "/sys/class/net/lo");
    }
    static void AddStorageAttributes() {
        const std::string device = kStorage;
        for (const std::string host : {"host10", "host9"}) {
            MakeDirectories(device + "/" + host + "/scsi_host/" + host);
            Link(device + "/" + host + "/scsi_host/" + host, "/sys/class/scsi_host/" + host);
        }
        WriteFile("/sys/class/fc_host/host9/node_name", "0xffffffffffffffff\n");
        WriteFile("/sys/class/fc_host/host9/port_name", "0x21000024ff7e2d10\n");
        WriteFile("/sys/class/sas_phy/phy-10:0:4/sas_address", "0x500056b300000001\n");
        WriteFile("/sys/class/sas_phy/phy-10:4/sas_address", "0x500605b00c0ffee0\n");
        Link("gone", "/sys/class/scsi_host/host11");
    }
    bool Scan(bool withVirtualInterfaces = false) {
        return CSystemAdapter::ScanSystemAdapters(m_Adapters, m_Functions, withVirtualInterfaces);
    }
    std::vector<std::string> DeviceIds() const {
        std::vector<std::string> ids;
        for (const CSystemAdapter& adapter : m_Adapters) {
            ids.push_back(adapter.m_DeviceId);
        }
        return ids;
    }

    CPciConfigList m_Functions;
    CSystemAdapterList m_Adapters;
    CSystemAdapter m_Found;
};

const std::string kNetworkId = "PCI\\VEN_8086&DEV_1533&SUBSYS_00A1103C&REV_03\\0000:03:00.0";
const std::string kStorageId = "PCI\\VEN_8086&DEV_2261&SUBSYS_00A1103C&REV_03\\0000:04:00.0";

TEST_F(SystemAdapter, RecordHoldsWhatCanBeReadAndNothingElse) {
    AddNetworkAttributes();
    AddStorageAttributes();
    ASSERT_TRUE(Scan());
    EXPECT_EQ(DeviceIds(), (std::vector<std::string>{kNetworkId, kStorageId, "ETH0"}));
    ASSERT_TRUE(m_Adapters.GetAdapter(m_Found, kNetworkAddress));
    const std::vector<ResourceDescriptor> expected = {
        {ResourceKind::kMemory, 0xF7A00000, 0xF7AFFFFF, 0x40200},
        {ResourceKind::kIoPorts, 0xE000, 0xE01F, 0x40101},
        {ResourceKind::kIrq, 99, 99, ResourceDescriptor::kMessage},
        {ResourceKind::kIrq, 120, 120, ResourceDescriptor::kMessage},
        {ResourceKind::kIrq, 17, 17, 0}};
    EXPECT_EQ(m_Found.m_Resources, expected);
    EXPECT_EQ(m_Found.m_Driver, "igb");
    EXPECT_EQ(m_Found.m_Module, "igb_main");
    EXPECT_EQ(m_Found.m_NumaNode, std::nullopt);
    EXPECT_EQ(m_Found.m_Link.SpeedMts, 2500U);
    EXPECT_EQ(m_Found.m_LinkMax.SpeedMts, std::nullopt);
    EXPECT_EQ(m_Found.m_SlotNumber, 7);
    ASSERT_EQ(m_Found.m_Interfaces.size(), 1U);
    EXPECT_EQ(m_Found.m_Interfaces[0].MacAddress, "02:fc:00:00:00:01");
    EXPECT_EQ(m_Found.m_Interfaces[0].IsOwnMacAddress, false);
    EXPECT_EQ(m_Found.m_Interfaces[0].SpeedMbs, std::nullopt);
    ASSERT_TRUE(m_Adapters.GetAdapter(m_Found, CPciAddress(0, 4, 0, 0)));
    ASSERT_EQ(m_Found.m_ScsiHosts.size(), 2U);
    EXPECT_EQ(m_Found.m_ScsiHosts[0].Number, 9U);
    EXPECT_EQ(m_Found.m_ScsiHosts[0].PortWwn, 0x21000024FF7E2D10);
    EXPECT_EQ(m_Found.m_ScsiHosts[0].NodeWwn, std::nullopt);
    EXPECT_EQ(m_Found.GetNodeWwn(), 0x500605B00C0FFEE0);
    EXPECT_EQ(TextsWith("0000:05:00.0").size(), 1U);
}

TEST_F(SystemAdapter, IsFoundByDeviceIdIgnoringCase) {
    AddNetworkAttributes();
    const std::string behindTheList = "/sys/devices/pci0000:7f/0000:7f:00.0";
    Link(behindTheList, behindTheList + "/net/late0/device");
    Link(behindTheList + "/net/late0", "/sys/class/net/late0");
    EXPECT_FALSE(m_Adapters.FindAdapter(m_Found, "eth0"));
    ASSERT_TRUE(Scan(true));
    EXPECT_EQ(DeviceIds().back(), "LO");
    EXPECT_TRUE(m_Adapters.FindAdapter(m_Found, "eth0"));
    EXPECT_EQ(m_Found.m_Address, kNetworkAddress);
    EXPECT_FALSE(m_Found.IsPciFunction());
    EXPECT_FALSE(m_Adapters.FindAdapter(m_Found, ""));
    EXPECT_FALSE(m_Adapters.FindAdapter(m_Found, nullptr));
    EXPECT_FALSE(m_Adapters.GetAdapter(m_Found, CPciAddress()));
    EXPECT_EQ(m_Found.m_DeviceId, "ETH0");
    EXPECT_EQ(
        TextsWith("CSystemAdapterList"),
        (std::vector<std::string>{
            "CSystemAdapterList  : No adapter found for device ID \"eth0\"!",
            "CSystemAdapterList  : Found adapter with device ID \"eth0\": " + m_Found.m_Name.Text,
            "CSystemAdapterList  : No adapter found for device ID \"\"!",
            "CSystemAdapterList  : No adapter found for device ID \"\"!"}));
    EXPECT_TRUE(m_Adapters.FindAdapter(m_Found, "late0"));
    EXPECT_EQ(m_Found.m_Address, CPciAddress(0, 0x7F, 0, 0));
}

// One test, because the names of pci.ids are read once in the process.
TEST_F(SystemAdapter, NamesComeFromTheIniFileThenPciIdsThenTheClass) {
    ASSERT_TRUE(Scan());
    EXPECT_EQ(m_Adapters[0].m_Name.Text, "Ethernet controller");
    EXPECT_EQ(m_Adapters[0].m_Name.Source, PciNameSource::kClassName);
    EXPECT_EQ(m_Adapters[0].m_VendorName.Source, PciNameSource::kNone);
    WriteFile(
        paths::kPciIds,
        "\n8086  Intel of 9\tand\x1b[31m\xff Corp\r\n\t2000  Too early\n\t1533  I210\tGigabit\n"
        "\t\t103C 00A1  Card\n"
        "garbage\n\t2261  Of nobody\nC 0c  Serial bus controller\n\t04  Fibre Channel\n"
        "\t\t00  Plain\n8086  Second\n\t2261  Also of nobody\n");
    ASSERT_TRUE(Scan());
    EXPECT_EQ(m_Adapters[0].m_Name.Text, "I210 Gigabit");
    EXPECT_EQ(m_Adapters[0].m_Name.Source, PciNameSource::kPciIds);
    EXPECT_EQ(m_Adapters[0].m_VendorName.Text, "Intel of 9 and [31m\xff Corp");
    EXPECT_EQ(m_Adapters[0].m_SubsystemName.Text, "Card");
    EXPECT_EQ(m_Adapters[1].m_Name.Text, "Fibre Channel");
    EXPECT_EQ(m_Adapters[1].m_InterfaceName.Text, "Plain");
    WriteFile(paths::kAdapterNames,
              "[8086]\nVendor=Maker\n[8086:1533]\nName=Chip\nSubsystem=Not here\n"
              "[8086:1533:103c:00a1]\nName=Our card\x07\n[8086:2261]\nName=\n");
    Remove(paths::kPciIds);  // what was read stays
    ASSERT_TRUE(Scan());
    EXPECT_EQ(m_Adapters[0].m_Name.Text, "Our card ");
    EXPECT_EQ(m_Adapters[0].m_Name.Source, PciNameSource::kIniFile);
    EXPECT_EQ(m_Adapters[0].m_SubsystemName.Text, "Card");
    EXPECT_EQ(m_Adapters[1].m_VendorName.Text, "Maker");
    EXPECT_EQ(m_Functions[kNetworkAddress].m_Name, "Our card ");
    EXPECT_EQ(m_Functions[kNetworkAddress].m_VendorName, "Maker");
}

}  // namespace

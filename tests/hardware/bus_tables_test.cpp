// Prepares the tree that the bus tables are made of; a C program calls them.
#include <unistd.h>

#include <gtest/gtest.h>

#include "base/paths.h"
#include "hardware/isa_resources.h"
#include "tests/support/files.h"
#include "tests/support/private_root_guard.h"

extern "C" {
int CheckBusTables();
int CheckMissingSources();
}

namespace {

TEST(BusTables, AreReadFromC) {
    RequirePrivateRoot();
    EXPECT_EQ(CheckMissingSources(), 0) << "line of bus_tables_caller.c";
    std::string header(64, '\0');
    header.replace(0, 4, "\xFF\x7F\x33\x15");
    header.replace(0x08, 4, "\x03\x02\x01\x05");
    header[0x0E] = static_cast<char>(0x80);
    header.replace(0x2C, 4, "\x3C\x10\xA1\x00", 4);
    WriteFile(std::string(paths::kProcBusPci) + "/03/00.1", header);
    WriteFile(paths::kAdapterNames, "[7fff:1533:103c:00a1]\nName=Our card\n");
    const std::string pnp = paths::kSysPnpDevices;
    WriteFile(pnp + "/00:00/resources",
              "state = active\nio 0x3f8-0x3ff\nirq 4\nmem disabled\ndma 2\n");
    WriteFile(pnp + "/00:00/id", "PNP0501\nPNP0500\n");
    ASSERT_EQ(symlink("../../drivers/serial", (pnp + "/00:00/driver").c_str()), 0);
    WriteFile(pnp + "/00:01/id", "PNP0303\n");
    MakeDirectories(pnp + "/00:02");  // going away
    const std::string network = "/sys/devices/pci0000:00/0000:03:00.1/net/eth0";
    WriteFile(network + "/address", "02:fc:00:00:00:01\n");
    MakeDirectories("/sys/class/net");
    ASSERT_EQ(symlink(network.c_str(), "/sys/class/net/eth0"), 0);
    for (const char* const address :
         {"02:fc:00:00:00:1", "02-fc-00-00-00-01", "2", "gg:00:00", ""}) {
        WriteFile("/sys/class/net/odd" + std::string(address) + "/address", address);
    }
    WriteFile(paths::kMtab, "/dev/sda1 /a\\040b xfs ro 0 0\ntmpfs /t tmpfs rw 0 0\n");
    EXPECT_EQ(CheckBusTables(), 0) << "line of bus_tables_caller.c";
}

TEST(IoPorts, AreTheLinesThatHoldARange) {
    std::string found;
    for (const isa::PortRange& range :
         isa::ParseIoPorts("0000-0cf7 : PCI Bus 0000:00\n  03f8-03ff : serial : port\n0060 : old\n"
                           "00g0-00ff : x\n0010-x : x\n-0010 : x\n0010- : x\n0020-001f : x\n\nodd\n"
                           "    0cf8-0cf8 : last")) {
        found += std::to_string(range.Depth) + ' ' + std::to_string(range.First) + '-' +
                 std::to_string(range.Last) + ' ' + range.Owner + '\n';
    }
    EXPECT_EQ(found, "0 0-3319 PCI Bus 0000:00\n1 1016-1023 serial : port\n2 3320-3320 last\n");
}

}  // namespace

// Mapping physical memory: what is mapped, what is refused, what is said.
#include "hardware/device_bios.h"

#include <fcntl.h>

#include <cerrno>
#include <utility>

#include <gtest/gtest.h>

#include "base/unique_fd.h"
#include "tests/hardware/firmware_fixture.h"

namespace {

class DeviceBios : public CFirmwareTest {};

TEST_F(DeviceBios, MapsAnyByteForReadingOrWriting) {
    WriteMemory(0x4000, 0x1FFF, "ab");
    const auto lowestTwo = [] {
        const CUniqueFd one(open("/dev/null", O_RDONLY | O_CLOEXEC));
        const CUniqueFd two(open("/dev/null", O_RDONLY | O_CLOEXEC));
        return std::pair(one.Get(), two.Get());
    };
    const auto unused = lowestTwo();
    CDeviceBios bios;
    EXPECT_TRUE(bios.Connect());
    unsigned char* bytes = bios.MapPhysicalMemory(0x12, 0x1FFF, 2, true);
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(bytes[0], 'a');
    EXPECT_EQ(bytes[1], 'b');
    bytes[1] = 'B';
    bytes = bios.MapPhysicalMemory(0, 0x2000, 0x2000, false);  // up to the last byte
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(bytes[0], 'B');
    EXPECT_TRUE(bios.Disconnect());
    EXPECT_FALSE(bios.IsConnected());
    EXPECT_EQ(lowestTwo(), unused) << "all are closed";
    EXPECT_TRUE(HasTraced(R"(
CDeviceBios (Map) : Mapping physical memory 0x1200001FFF len 0x00002 to the user process (read-write)
CDeviceBios (Map) : Mapping physical memory 0x000002000 len 0x02000 to the user process (read-only)
## WARNING! Mapped physical memory already existing - will be unmapped before new mapping performed!
)"));
    const auto unmapped = TextsWith("CDeviceBios (Unmap) : unmapped ");
    ASSERT_EQ(unmapped.size(), 2U);
    EXPECT_NE(unmapped[0].find("unmapped 0x1001 bytes at 0x1000 from 0x0x"), std::string::npos);
    EXPECT_TRUE(unmapped[1].ends_with("..."));
}

TEST_F(DeviceBios, RefusesWhatIsNotThere) {
    WriteMemory(0x4001, 0, "");
    CDeviceBios bios;
    EXPECT_EQ(bios.MapPhysicalMemory(0, 0x1000, 1, false), nullptr);  // not connected
    bios.Connect();
    const struct {
        unsigned int Address;
        unsigned long Length;
        int Error;
    } rows[] = {
        {0, 1, EINVAL},
        {0x1000, 0, EINVAL},
        {0x4000, 2, ENXIO},
        {0x4FFF, 1, ENXIO},
        {0xFFFFF000, 2, ENXIO},
        {0x1000, 0xFFFFFFFF, ENXIO},
        {0x1800, 0xFFFFF800, EINVAL},  // 32 bits of the length count, and those are 0
    };
    for (const auto& row : rows) {
        EXPECT_EQ(bios.MapPhysicalMemory(0, row.Address, row.Length, false), nullptr);
        EXPECT_EQ(bios.GetLastError(), row.Error) << row.Address << " " << row.Length;
    }
    EXPECT_NE(bios.MapPhysicalMemory(0, 0x4000, 1, false), nullptr);
    // As much as 32 bits of the length say.
    EXPECT_NE(bios.MapPhysicalMemory(0, 0x4000, 0x1'0000'0001, false), nullptr);
    Remove(paths::kMemoryDevice);
    EXPECT_EQ(bios.MapPhysicalMemory(0, 0x4000, 1, false), nullptr);
    EXPECT_EQ(bios.GetLastError(), ENOENT);
    EXPECT_TRUE(HasTraced(R"(
CDeviceBios (Map) : ## ERROR: DeviceBios is not connected - fix this!!
CDeviceBios (Map)   : ## ERROR: Physical address or size is 0 for physical memory mapping - fix this!!
## ERROR: Opening of /dev/mem failed (errno=2)!
)"));
}

}  // namespace

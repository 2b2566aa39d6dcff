// The daemon's talk with the hardware-access driver, byte by byte, and what it tells of the answer.
#include <cstdint>
#include <cstring>

#include "tests/end_to_end/daemon_fixture.h"
#include "tests/support/files.h"

namespace {

constexpr char kRecordFile[] = "/tmp/driver_request";
constexpr char kNotAvailable[] = "INFO: smbus-driver is not available on this OS";
constexpr char kWarning[] =
    "ZENTD-MAIN: WARNING: zentd version (0x00041403) is less than smbus driver version "
    "(0x00041404)\n";

class CDriverTest : public CDaemonTest {
protected:
    void SetUp() override {
        CDaemonTest::SetUp();
        WriteFile("/dev/pci/smbus", "");
        SetVariable("LD_PRELOAD", MORLA_FAKE_DRIVER);
        SetVariable("ASAN_OPTIONS", "verify_asan_link_order=0");  // the fake driver comes first
        SetVariable("LD_LIBRARY_PATH", "");  // without a switch the start ends behind the probe
        SetVariable("FAKE_SMBUS_RECORD", kRecordFile);
    }
    void TearDown() override {
        CDaemonTest::TearDown();
        Remove("/dev/pci");
        Remove(kRecordFile);
    }

    // Lets a daemon talk with the driver and end.
    void RunDaemon(const Lines& options = {}) {
        Lines arguments{"-n"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        EXPECT_EQ(WaitForEnd(Spawn(arguments)), 1);
    }
};

std::uint32_t NumberAt(const std::string& record, std::size_t offset) {
    std::uint32_t value = 0;
    std::memcpy(&value, record.substr(offset, sizeof value).c_str(), sizeof value);
    return value;
}

}  // namespace

TEST_F(CDriverTest, SendsTheRequestInTheDriversLayout) {
    constexpr std::size_t kBuffer = 32;  // behind the header
    SetVariable("HX_SYSTEM", "system");
    SetVariable("HX_OS", std::string(200, 'o'));
    SetVariable("HX_NICKNAME", "OL7");
    RunDaemon();
    const std::string record = ReadFile(kRecordFile);
    ASSERT_EQ(record.size(), 32U + 1312U);
    EXPECT_EQ(NumberAt(record, 0), 1U);
    EXPECT_EQ(NumberAt(record, 4), 0xFFU);
    EXPECT_EQ(NumberAt(record, 8), 1312U);
    std::string expected(1312, '\0');
    expected.replace(32, 4, std::string("\x03\x14\x04\x00", 4));
    expected.replace(96, 5, "ZENTD");
    expected.replace(736, 6, "system");
    expected.replace(768, 128, std::string(128, 'o'));
    expected.replace(896, 3, "OL7");
    EXPECT_EQ(record.substr(kBuffer), expected);
}

TEST_F(CDriverTest, IsAskedInTheDefaultRunModeOnly) {
    for (const char* mode : {"-agentless", "-tovin", "-plexa", "-plexa-agentless"}) {
        RunDaemon({mode});
        EXPECT_FALSE(Exists(kRecordFile)) << mode;
        EXPECT_EQ((ReadFile(kLogFile) + ReadFile(kInitRing)).find("smbus"), std::string::npos);
    }
    RunDaemon();
    EXPECT_TRUE(Exists(kRecordFile));
}

TEST_F(CDriverTest, TellsEveryFieldOfTheAnswer) {
    RunDaemon();
    const std::string ring = ReadFile(kInitRing);
    std::size_t position = 0;
    for (const char* line : {
             "Success                     : 0x00000001",
             "OSKernelVersionCode         : 0x00050A0B",
             "smbus_VersionCode           : 0x00000000",
             "smbus_ArchMode              : 0x00000002",
             "smbus_ArchXEN               : 0x00000000",
             "smbus_ArchFacil             : 0x0000000F",
             "RequestorVersion            : 0x00041403",
             "smbus_IsSmbiHwFound         : 0x00000001",
             "smbus_IsBapiHwFound         : 0x00000000",
             "smbus_IsGabiHwFound         : 0x00000001",
             "smbus_IsSmbusHwFound        : 0x00000001",
             "smbus_IsBusIoHwFound        : 0x00000000",
             "smbus_IsCpuErrHwFound       : 0x00000000",
             "smbus_IsCpuApicHwFound      : 0x00000001",
             "smbus_IsCpuInfoHwFound      : 0x00000001",
             "smbus_MajorDeviceNumber     : 0x000000F1",
             "smbus_IsKmpModule           : 0x00000001",
             "RequestorName               : ZENTD",
             "smbus_Name                  : smbus",
             "smbus_SrcVersion            : source version",
             "smbus_SrcDate               : source date",
             "smbus_ObjDate               : object date",
             "smbus_OsArchitecture        : x86_64",
             "smbus_OsVersion             : os version",
             "smbus_CompilerVersion       : compiler",
             "smbus_KernelVersion         : kernel",
             "HX_SYSTEM                   : ",
             "HX_OS                       : ",
             "HX_NICKNAME                 : ",
             "smbus_ErrorReturnString     : no error",
         }) {
        const std::size_t found = ring.find(std::string(line) + "\n", position);
        EXPECT_NE(found, std::string::npos) << line;
        position = found == std::string::npos ? position : found;
    }
    EXPECT_EQ(ReadFile(kLogFile).find("smbus"), std::string::npos) << "the log takes no dump";
}

TEST_F(CDriverTest, EndsTextsThatFillTheirFields) {
    SetVariable("FAKE_SMBUS_FULL", "1");
    RunDaemon();
    const std::string ring = ReadFile(kInitRing);
    EXPECT_NE(ring.find("smbus_Name                  : " + std::string(32, 'x') + "\n"),
              std::string::npos);
    EXPECT_NE(ring.find("smbus_ErrorReturnString     : " + std::string(384, 'x') + "\n"),
              std::string::npos);
}

TEST_F(CDriverTest, WarnsOfANewerDriverOnly) {
    for (const auto& [version, isWarning] :
         {std::pair{"0x00041404", true}, {"0x00041403", false}}) {
        SetVariable("FAKE_SMBUS_VERSION", version);
        RunDaemon();
        EXPECT_EQ(ReadFile(kLogFile).find(kWarning) != std::string::npos, isWarning) << version;
    }
}

TEST_F(CDriverTest, GoesOnWhenTheDriverRefuses) {
    SetVariable("FAKE_SMBUS_ERRNO", "25");
    RunDaemon();
    EXPECT_NE(ReadFile(kLogFile).find(kNotAvailable), std::string::npos);
    EXPECT_NE(
        ReadFile(kInitRing).find("IOCTL_SMBUS_DRIVER_INFO (0xC00873FF) to /dev/pci/smbus failed "
                                 "(errno=25: Inappropriate ioctl for device)\n"),
        std::string::npos);
}

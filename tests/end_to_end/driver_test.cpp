// The daemon's talk with the hardware-access driver, byte by byte, and what it tells of the answer.
#include <cstring>

#include "base/paths.h"
#include "tests/end_to_end/daemon_fixture.h"
#include "tests/support/files.h"

namespace {

class CDriverTest : public CDaemonTest {
protected:
    void SetUp() override {
        CDaemonTest::SetUp();
        WriteFile("/dev/pci/smbus", "");
        Preload();
        SetVariable("LD_LIBRARY_PATH", "");  // without a switch the start ends behind the probe
    }
    void TearDown() override {
        CDaemonTest::TearDown();
        Remove("/dev/pci");
    }

    // Lets a daemon talk with the driver and end.
    void RunDaemon(const std::string& driver) {
        SetVariable("FAKE_DRIVER", driver);
        EXPECT_EQ(Start({"-n"}), 1);
    }
};

}  // namespace

TEST_F(CDriverTest, SendsTheRequestInTheDriversLayout) {
    SetVariable("HX_SYSTEM", std::string(32, 's'));
    SetVariable("HX_OS", std::string(200, 'o'));
    SetVariable("HX_NICKNAME", "OL7");
    RunDaemon("0");
    std::string request = ReadFile("/tmp/driver_request");
    ASSERT_EQ(request.size(), 32U + 1312U);
    request.replace(16, 8, 8, '\0');  // the buffer's address
    std::string expected(32 + 1312, '\0');
    expected[0] = 1;
    expected[4] = '\xFF';
    expected.replace(8, 2, "\x20\x05");  // 1312
    expected.replace(32 + 32, 3, "\x03\x14\x04");
    expected.replace(32 + 96, 5, "ZENTD");
    expected.replace(32 + 736, 32, 32, 's');
    expected.replace(32 + 768, 128, 128, 'o');
    expected.replace(32 + 896, 3, "OL7");
    EXPECT_EQ(request, expected);
}

TEST_F(CDriverTest, TellsEveryFieldOfTheAnswer) {
    RunDaemon("0x00041403");
    const std::string ring = ReadFile(kInitRing);
    std::size_t position = 0;
    for (const std::string& line : Lines{
             "evaluating IOCTL_SMBUS_DRIVER_INFO (0xC00873FF)\n",
             "Version                     : 0x00000001\n",
             "CmdNumber                   : 0x000000FF\n",
             "SizeOfInOutBuffer           : 0x00000520\n",
             "pInOutBuffer                : 0x0x",  // deliberate: twice
             "Success                     : 0x00000001\n",
             "OSKernelVersionCode         : 0x00050A0B\n",
             "smbus_VersionCode           : 0x00041403\n",
             "smbus_ArchMode              : 0xABCDEF01\n",
             "smbus_ArchXEN               : 0x00000002\n",
             "smbus_ArchFacil             : 0x00000003\n",
             "RequestorVersion            : 0x00041403\n",
             "smbus_IsSmbiHwFound         : 0x00000001\n",
             "smbus_IsBapiHwFound         : 0x00000002\n",
             "smbus_IsGabiHwFound         : 0x00000003\n",
             "smbus_IsSmbusHwFound        : 0x00000004\n",
             "smbus_IsBusIoHwFound        : 0x00000005\n",
             "smbus_IsCpuErrHwFound       : 0x00000006\n",
             "smbus_IsCpuApicHwFound      : 0x00000007\n",
             "smbus_IsCpuInfoHwFound      : 0x000000FF\n",
             "smbus_MajorDeviceNumber     : 0x000000F1\n",
             "smbus_IsKmpModule           : 0x00000001\n",
             "RequestorName               : ZENTD\n",
             "smbus_Name                  : " + std::string(32, 'n') + "\n",
             "smbus_SrcVersion            : source version\n",
             "smbus_SrcDate               : source date\n",
             "smbus_ObjDate               : object date\n",
             "smbus_OsArchitecture        : x86_64\n",
             "smbus_OsVersion             : os version\n",
             "smbus_CompilerVersion       : compiler\n",
             "smbus_KernelVersion         : kernel\n",
             "HX_SYSTEM                   : \n",
             "HX_OS                       : \n",
             "HX_NICKNAME                 : \n",
             "smbus_ErrorReturnString     : " + std::string(384, 'e') + "\n",
         }) {
        const std::size_t found = ring.find(line, position);
        EXPECT_NE(found, std::string::npos) << line;
        position = found == std::string::npos ? position : found + line.size();
    }
    EXPECT_EQ(ReadFile(kLogFile).find("smbus"), std::string::npos) << "neither dump nor warning";
}

TEST_F(CDriverTest, TellsNoFieldBelowLevelTwo) {
    WriteFile(std::string(paths::kTraceConfigDirectory) + "/zentd.ini",
              "[zentd]\nFileDebugLevel=1\nRingBufferSizeFactor=1\nRingBufferSizeWeight=1\n"
              "[EndOfFile]\n");
    RunDaemon("0x00041403");
    EXPECT_EQ(ReadFile(kInitRing).find("Version     "), std::string::npos);
    EXPECT_EQ(ReadFile(kInitRing).find("smbus_"), std::string::npos);
}

TEST_F(CDriverTest, WarnsOfANewerDriver) {
    for (const std::string version : {"00041404", "FFFFFFFF"}) {
        RunDaemon("0x" + version);
        EXPECT_NE(ReadFile(kLogFile).find("ZENTD-MAIN: WARNING: zentd version (0x00041403) is less "
                                          "than smbus driver version (0x" +
                                          version + ")\n"),
                  std::string::npos);
    }
}

TEST_F(CDriverTest, GoesOnWhenTheDriverRefuses) {
    RunDaemon("refuse");
    EXPECT_NE(ReadFile(kLogFile).find("INFO: smbus-driver is not available on this OS"),
              std::string::npos);
    EXPECT_NE(
        ReadFile(kInitRing).find("IOCTL_SMBUS_DRIVER_INFO (0xC00873FF) to /dev/pci/smbus failed "
                                 "(errno=25: Inappropriate ioctl for device)\n"),
        std::string::npos);
}

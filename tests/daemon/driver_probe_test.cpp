// The driver is played by this program's own ioctl; any file can stand in for the device.
#include "daemon/driver_probe.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>

#include "base/bounded_text.h"
#include "base/paths.h"
#include "tests/daemon/trace_log.h"

namespace fs = std::filesystem;

namespace {

// What the driver does with the request; its result is ioctl's.
std::function<int(unsigned long request, SmbusDriverInfoHeader&)> g_Driver;

}  // namespace

extern "C" int ioctl(int /*fd*/, unsigned long request, ...) noexcept {
    va_list args;
    va_start(args, request);
    auto* const header = va_arg(args, SmbusDriverInfoHeader*);
    va_end(args);
    return g_Driver ? g_Driver(request, *header) : -1;
}

namespace {

constexpr char kNotAvailable[] =
    "ZENTD-MAIN: INFO: smbus-driver is not available on this OS (But, don't worry about this, it "
    "might be OK on some OS systems!)";

class CDriverProbeTest : public CTraceLogTest {
protected:
    void SetUp() override {
        CTraceLogTest::SetUp();
        fs::create_directories(fs::path(paths::kSmbusDevice).parent_path());
        std::ofstream(paths::kSmbusDevice).flush();
        for (const char* name : {"HX_SYSTEM", "HX_OS", "HX_NICKNAME"}) {
            unsetenv(name);
        }
    }
    void TearDown() override { g_Driver = nullptr; }

    // The texts that the probe writes.
    static std::vector<std::string> Probe() {
        const std::size_t before = Texts().size();
        DiscoverSmbusDriverInfo();
        std::vector<std::string> texts = Texts();
        texts.erase(texts.begin(), texts.begin() + static_cast<std::ptrdiff_t>(before));
        return texts;
    }
};

std::size_t OpenDescriptors() {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

}  // namespace

TEST_F(CDriverProbeTest, HandsTheDriverVersionNameAndIdentity) {
    setenv("HX_SYSTEM", std::string(32, 's').c_str(), 1);
    setenv("HX_OS", std::string(200, 'o').c_str(), 1);
    setenv("HX_NICKNAME", "", 1);
    SmbusDriverInfoHeader header{};
    SmbusDriverInfo info{};
    unsigned long code = 0;
    g_Driver = [&](unsigned long request, SmbusDriverInfoHeader& argument) {
        code = request;
        header = argument;
        info = *argument.pInOutBuffer;
        return 0;
    };
    const std::size_t descriptors = OpenDescriptors();
    Probe();
    EXPECT_EQ(OpenDescriptors(), descriptors);
    EXPECT_EQ(code, 0xC00873FFU);
    EXPECT_EQ(header.Version, 1U);
    EXPECT_EQ(header.CmdNumber, 0xFFU);
    EXPECT_EQ(header.SizeOfInOutBuffer, 1312U);
    EXPECT_EQ(header.Reserved1 | header.Reserved2 | header.Success, 0U);

    SmbusDriverInfo expected{};
    expected.RequestorVersion = VersionCode(ParseVersion(kProgramVersion));
    CopyText(expected.RequestorName, "ZENTD");
    std::memset(expected.HX_SYSTEM, 's', 32);
    std::memset(expected.HX_OS, 'o', 128);
    EXPECT_EQ(std::memcmp(&info, &expected, sizeof info), 0) << "everything else is zero";
}

TEST_F(CDriverProbeTest, DumpsEveryFieldOfTheAnswer) {
    setenv("HX_NICKNAME", "SLES12", 1);
    std::string address;
    g_Driver = [&](unsigned long /*request*/, SmbusDriverInfoHeader& header) {
        SmbusDriverInfo& info = *header.pInOutBuffer;
        header.Success = 1;
        info.OSKernelVersionCode = 0x060112;
        info.smbus_VersionCode = info.RequestorVersion;
        info.smbus_ArchMode = 0xABCDEF01;
        info.smbus_ArchXEN = 2;
        info.smbus_ArchFacil = 3;
        info.smbus_IsSmbiHwFound = 1;
        info.smbus_IsCpuInfoHwFound = 255;
        info.smbus_MajorDeviceNumber = 240;
        info.smbus_IsKmpModule = 1;
        std::memset(info.smbus_Name, 'n', sizeof info.smbus_Name);
        CopyText(info.smbus_KernelVersion, "6.1");
        std::memset(info.smbus_ErrorReturnString, 'e', sizeof info.smbus_ErrorReturnString);
        char text[32];
        (void)std::snprintf(text, sizeof text, "0x%p", static_cast<void*>(&info));
        address = text;
        return 0;
    };
    const std::vector<std::string> texts = Probe();
    const std::vector<std::string> expected{
        "ZENTD-MAIN::DiscoverSmbusDriverInfo: evaluating IOCTL_SMBUS_DRIVER_INFO (0xC00873FF)",
        "Version                     : 0x00000001",
        "CmdNumber                   : 0x000000FF",
        "SizeOfInOutBuffer           : 0x00000520",
        "pInOutBuffer                : " + address,  // deliberate: with "0x" twice
        "Success                     : 0x00000001",
        "OSKernelVersionCode         : 0x00060112",
        "smbus_VersionCode           : 0x00041403",
        "smbus_ArchMode              : 0xABCDEF01",
        "smbus_ArchXEN               : 0x00000002",
        "smbus_ArchFacil             : 0x00000003",
        "RequestorVersion            : 0x00041403",
        "smbus_IsSmbiHwFound         : 0x00000001",
        "smbus_IsBapiHwFound         : 0x00000000",
        "smbus_IsGabiHwFound         : 0x00000000",
        "smbus_IsSmbusHwFound        : 0x00000000",
        "smbus_IsBusIoHwFound        : 0x00000000",
        "smbus_IsCpuErrHwFound       : 0x00000000",
        "smbus_IsCpuApicHwFound      : 0x00000000",
        "smbus_IsCpuInfoHwFound      : 0x000000FF",
        "smbus_MajorDeviceNumber     : 0x000000F0",
        "smbus_IsKmpModule           : 0x00000001",
        "RequestorName               : ZENTD",
        "smbus_Name                  : " + std::string(32, 'n'),
        "smbus_SrcVersion            : ",
        "smbus_SrcDate               : ",
        "smbus_ObjDate               : ",
        "smbus_OsArchitecture        : ",
        "smbus_OsVersion             : ",
        "smbus_CompilerVersion       : ",
        "smbus_KernelVersion         : 6.1",
        "HX_SYSTEM                   : ",
        "HX_OS                       : ",
        "HX_NICKNAME                 : SLES12",
        "smbus_ErrorReturnString     : " + std::string(384, 'e'),
    };
    EXPECT_EQ(texts, expected);
    EXPECT_TRUE(address.starts_with("0x0x")) << address;
}

TEST_F(CDriverProbeTest, WarnsOfADriverThatIsNewer) {
    std::uint32_t version = 0;
    g_Driver = [&](unsigned long /*request*/, SmbusDriverInfoHeader& header) {
        header.pInOutBuffer->smbus_VersionCode = version;
        return 0;
    };
    SwitchTracingOff();
    for (const std::uint32_t accepted : {0U, 0x00041402U, 0x00041403U}) {
        version = accepted;
        EXPECT_EQ(Probe(), std::vector<std::string>{}) << version;
    }
    version = 0x00041404;
    EXPECT_EQ(Probe(), std::vector<std::string>{
                           "ZENTD-MAIN: WARNING: zentd version (0x00041403) is less than smbus "
                           "driver version (0x00041404)"});
    version = 0xFFFFFFFF;
    EXPECT_EQ(Probe().size(), 1U) << "compared without sign";
}

TEST_F(CDriverProbeTest, TakesAMissingOrRefusingDriverForNoError) {
    g_Driver = [](unsigned long /*request*/, SmbusDriverInfoHeader& /*header*/) {
        errno = ENOTTY;
        return -1;
    };
    EXPECT_EQ(Probe(),
              (std::vector<std::string>{
                  "ZENTD-MAIN::DiscoverSmbusDriverInfo: IOCTL_SMBUS_DRIVER_INFO (0xC00873FF) to "
                  "/dev/pci/smbus failed (errno=25: Inappropriate ioctl for device)",
                  kNotAvailable}));
    fs::remove(paths::kSmbusDevice);
    EXPECT_EQ(Probe(), (std::vector<std::string>{
                           "ZENTD-MAIN::DiscoverSmbusDriverInfo: cannot open /dev/pci/smbus "
                           "(errno=2: No such file or directory)",
                           kNotAvailable}));
    SwitchTracingOff();
    EXPECT_EQ(Probe(), std::vector<std::string>{kNotAvailable});
}

#include "tests/os/registry_fixture.h"

#include <algorithm>
#include <sstream>

#include "tests/support/files.h"
#include "tests/support/private_root_guard.h"
#include "trace/debug.h"

namespace {

constexpr char kTraceDirectory[] = "/var/log/quorvat";
constexpr char kTraceConfig[] = "/etc/velmor/OskariaSuite/TraceConfig/registrytest.ini";

std::size_t traceStart = 0;  // where the log file ended when the trace was started

}  // namespace

void CRegistryTest::SetUp() {
    RequirePrivateRoot();
    Remove("/etc/quorvat");
    MakeDirectories("/etc/quorvat");
}

std::string TreeText() {
    CRegistry root;
    EXPECT_EQ(root.Open("", nullptr, -1), 0);
    std::string text;
    root.KeepKeyHandle()->dumpNode(text);
    return text;
}

std::string MachineTree(std::string_view content) {
    return "[HKEY_LOCAL_MACHINE]\n" + std::string(content) + "\n\n";
}

void StartTrace() {
    MakeDirectories(kTraceDirectory);
    WriteFile(kTraceConfig,
              "[registrytest]\nFileDebugLevel=2\nRingBufferSizeFactor=1\n"
              "RingBufferSizeWeight=1\nMemoryTracesFlag=0\n[EndOfFile]\n");
    Debug.Init("registrytest");
    Debug.SetTarget(kTargetLogFile);
    traceStart = ReadFile(std::string(kTraceDirectory) + "/log.registrytest").size();
}

std::vector<std::string> TraceTexts(const std::vector<std::string>& without) {
    constexpr std::size_t kHeaderLength = 49;
    std::istringstream lines(
        ReadFile(std::string(kTraceDirectory) + "/log.registrytest").substr(traceStart));
    std::vector<std::string> texts;
    for (std::string line; std::getline(lines, line);) {
        const bool isLeftOut = std::any_of(
            without.begin(), without.end(),
            [&](const std::string& text) { return line.find(text) != std::string::npos; });
        if (!isLeftOut) {
            texts.push_back(line.substr(std::min(line.size(), kHeaderLength)));
        }
    }
    return texts;
}

#include "tests/daemon/trace_log.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>

#include "base/paths.h"
#include "tests/support/files.h"
#include "tests/support/private_root_guard.h"
#include "trace/debug.h"

namespace {

constexpr std::size_t kHeaderLength = 49;  // time, thread and a name of at most 13 characters

}  // namespace

void CTraceLogTest::SetUp() {
    RequirePrivateRoot();
    MakeDirectories(paths::kTraceDirectory);
    WriteFile(std::string(paths::kTraceConfigDirectory) + "/zentd.ini",
              "[zentd]\nFileDebugLevel=6\nRingBufferSizeFactor=1\nRingBufferSizeWeight=1\n"
              "MemoryTracesFlag=0\n[EndOfFile]\n");
    setenv("HX_LOG_FILE_MAX_SIZE", "10000000", 1);
    ASSERT_TRUE(Debug.Init("zentd"));
    Debug.SetTarget(kTargetLogFile);
}

void CTraceLogTest::SwitchTracingOff() {
    Debug.ForceMaxDebug(false);
}

std::vector<std::string> CTraceLogTest::Texts() {
    std::ifstream file(std::string(paths::kTraceDirectory) + "/log.zentd");
    std::vector<std::string> texts;
    for (std::string line; std::getline(file, line);) {
        texts.push_back(line.substr(std::min(line.size(), kHeaderLength)));
    }
    return texts;
}

std::vector<std::string> CTraceLogTest::TextsWith(std::string_view part) {
    std::vector<std::string> texts = Texts();
    std::erase_if(texts, [&](const std::string& t) { return t.find(part) == std::string::npos; });
    return texts;
}

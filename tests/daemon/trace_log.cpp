#include "tests/daemon/trace_log.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>

#include "base/paths.h"
#include "tests/support/files.h"
#include "tests/support/private_root_guard.h"
#include "trace/debug.h"

namespace {

constexpr std::size_t kHeaderLength = 49;  // time, thread and a name of at most 13 characters
constexpr int kHighestLevel = 6;

}  // namespace

void CTraceLogTest::SetUp() {
    RequirePrivateRoot();
    MakeDirectories(paths::kTraceDirectory);
    setenv("HX_LOG_FILE_MAX_SIZE", "10000000", 1);
    StartAtLevel(kHighestLevel);
}

void CTraceLogTest::StartAtLevel(int level) {
    WriteFile(std::string(paths::kTraceConfigDirectory) + "/zentd.ini",
              "[zentd]\nFileDebugLevel=" + std::to_string(level) +
                  "\nRingBufferSizeFactor=1\nRingBufferSizeWeight=1\nMemoryTracesFlag=0\n"
                  "[EndOfFile]\n");
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

int CTraceLogTest::LevelOf(std::string_view part, const std::function<void()>& work) {
    for (int level = 0; level <= kHighestLevel; ++level) {
        StartAtLevel(level);
        const std::size_t before = TextsWith(part).size();
        work();
        if (TextsWith(part).size() > before) {
            return level;
        }
    }
    return -1;
}

std::vector<std::string> CTraceLogTest::LinesByLevel(const std::function<void()>& work) {
    std::map<std::string, std::map<int, std::size_t>> upTo;  // by name and level
    for (int level = 0; level <= kHighestLevel; ++level) {
        StartAtLevel(level);
        const std::size_t before = Texts().size();
        work();
        const std::vector<std::string> texts = Texts();
        for (std::size_t i = before; i < texts.size(); ++i) {
            ++upTo[texts[i].substr(0, texts[i].find_first_of(" :(\t"))][level];
        }
    }
    for (const char* const ofTheirOwn : {"CThread", "Check", "Set", "creating", "deleting"}) {
        upTo.erase(ofTheirOwn);  // events and threads that the work uses
    }
    std::vector<std::string> lines;
    for (auto& [name, counts] : upTo) {
        std::string line = name;
        for (int level = 0; level <= kHighestLevel; ++level) {
            const std::size_t own = counts[level] - counts[level - 1];
            line += own != 0 ? ' ' + std::to_string(level) + ':' + std::to_string(own) : "";
        }
        lines.push_back(line);
    }
    return lines;
}

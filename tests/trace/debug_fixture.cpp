#include "tests/trace/debug_fixture.h"

#include <cstdlib>
#include <fstream>
#include <iterator>

#include "tests/support/private_root_guard.h"

namespace {

constexpr std::size_t kHeaderLength = 49;  // time, thread and a name of at most 13 characters

}  // namespace

void CDebugTest::SetUp() {
    RequirePrivateRoot();
    for (const char* directory : {"/var/log/quorvat", kConfigDirectory}) {
        std::filesystem::remove_all(directory);
        std::filesystem::create_directories(directory);
    }
    for (const char* name : {"HX_LOG_DYNAMIC_UPDATE", "HX_LOG_FILE_DIR", "HX_LOG_FILE_MAX_SIZE",
                             "HX_LOG_RINGBUF_DIR", "HX_LOG_DEBUG_LEVEL", "TraceFileLimit",
                             "HX_LOG_RINGBUF_WEIGHT", "HX_LOG_NOHDR_TOSDTERR"}) {
        unsetenv(name);
    }
}

void CDebugTest::TearDown() {
    Stop();
    for (const std::string& name : m_Variables) {
        unsetenv(name.c_str());
    }
}

void CDebugTest::Configure(std::string_view text, const char* file) {
    std::ofstream(std::filesystem::path(kConfigDirectory) / file) << text << "\n[EndOfFile]\n";
}

void CDebugTest::ConfigureRing(unsigned int level) {
    Configure("[zentd]\nFileDebugLevel=" + std::to_string(level) +
              "\nRingBufferSizeFactor=1\nRingBufferSizeWeight=1\nMemoryTracesFlag=0\n");
}

void CDebugTest::SetVariable(const char* name, const char* value) {
    setenv(name, value, 1);
    m_Variables.emplace_back(name);
}

CDebug& CDebugTest::Start(bool isStarted) {
    m_Debug = std::make_unique<CDebug>();
    if (isStarted) {
        m_Debug->Init("zentd");
    }
    return *m_Debug;
}

CDebug& CDebugTest::StartActiveRing(unsigned int level) {
    ConfigureRing(level);
    Start().SetApplInitDone();
    return *m_Debug;
}

std::string CDebugTest::Read(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::string> CDebugTest::Lines(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return lines;
}

std::vector<std::string> CDebugTest::Texts(const std::filesystem::path& path) {
    std::vector<std::string> texts;
    for (const std::string& line : Lines(Read(path))) {
        texts.push_back(line.substr(std::min(line.size(), kHeaderLength)));
    }
    return texts;
}

std::string CDebugTest::NewestEntry(const std::string& ring) {
    const std::size_t marker = ring.rfind("## TRACE-END ##\n");
    if (marker == std::string::npos || marker == 0) {
        return "<no end marker>";
    }
    const std::size_t begin = ring.rfind('\n', marker - 2) + 1;
    return ring.substr(begin + kHeaderLength, marker - 1 - begin - kHeaderLength);
}

#include "tests/trace/debug_fixture.h"

#include <cstdlib>
#include <sstream>

#include "tests/support/files.h"
#include "tests/support/private_root_guard.h"

namespace {

constexpr std::size_t kHeaderLength = 49;  // time, thread and a name of at most 13 characters

}  // namespace

void CDebugTest::SetUp() {
    RequirePrivateRoot();
    for (const char* directory : {"/var/log/quorvat", kConfigDirectory}) {
        Remove(directory);
        MakeDirectories(directory);
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
    WriteFile(std::string(kConfigDirectory) + "/" + file, std::string(text) + "\n[EndOfFile]\n");
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

std::vector<std::string> CDebugTest::Lines(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> CDebugTest::Texts(const std::string& path) {
    std::vector<std::string> texts = Lines(ReadFile(path));
    for (std::string& text : texts) {
        text.erase(0, kHeaderLength);
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

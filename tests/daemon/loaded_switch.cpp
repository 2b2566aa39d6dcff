#include "tests/daemon/loaded_switch.h"

#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/daemon/recording_switch.h"

CLoadedSwitch::CLoadedSwitch(const char* path, const char* misbehaviour)
    : m_Library(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
    setenv("MORLA_TEST_SWITCH", misbehaviour, 1);
    std::filesystem::remove(kSwitchCallsFile);
}

CLoadedSwitch::~CLoadedSwitch() {
    if (m_Library != nullptr) {
        dlclose(m_Library);
    }
    unsetenv("MORLA_TEST_SWITCH");
}

std::vector<std::string> CLoadedSwitch::Calls() {
    std::ifstream file(kSwitchCallsFile);
    std::vector<std::string> calls;
    for (std::string line; std::getline(file, line);) {
        calls.push_back(line);
    }
    return calls;
}

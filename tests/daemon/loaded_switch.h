// Puts one of the test switch libraries where the loader finds "libswitch.so".
#pragma once

#include <string>
#include <vector>

// Loads the library at `path` beforehand: the loader then takes it for any later request of its
// name, whatever the search path. Starts with no recorded calls and the given misbehaviour.
class CLoadedSwitch {
public:
    explicit CLoadedSwitch(const char* path, const char* misbehaviour = "");
    CLoadedSwitch(const CLoadedSwitch&) = delete;
    CLoadedSwitch& operator=(const CLoadedSwitch&) = delete;
    ~CLoadedSwitch();

    [[nodiscard]] bool IsLoaded() const { return m_Library != nullptr; }
    // The calls that the recording switch has written down.
    [[nodiscard]] static std::vector<std::string> Calls();

private:
    void* m_Library;
};

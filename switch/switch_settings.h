// The settings of the switch and of its modules, from the text of their configuration file.
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <string_view>

// Sections of keys and values, by the rules of the suite's INI files: names count with their case,
// ";" begins a comment, the first section of a name and the first key of a section count, and an
// empty value reads as missing. Unchanging after Parse, and so safe for every thread.
class CSwitchSettings {
public:
    [[nodiscard]] static CSwitchSettings Parse(std::string_view text);

    // The value, or null. It lives as long as this object.
    [[nodiscard]] const char* Find(std::string_view section, std::string_view key) const;
    // A value of 1 to 600,000 milliseconds; `fallback` where there is none, or no such number
    // (`isRefused` then tells that one was given).
    [[nodiscard]] std::chrono::milliseconds FindTimeout(std::string_view section,
                                                        std::string_view key,
                                                        std::chrono::milliseconds fallback,
                                                        bool& isRefused) const;

private:
    using Section = std::map<std::string, std::string, std::less<>>;
    std::map<std::string, Section, std::less<>> m_Sections;
};

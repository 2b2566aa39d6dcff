// INI files and a key-value store of the field, behind plain functions.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace bench {

// The text of an INI file of about `lines` lines, 20 a section; and a key in its middle.
std::string IniText(std::size_t lines);
struct IniKey {
    std::string Section;
    std::string Key;
};
IniKey MiddleKey(std::size_t lines);

// inih: parses the file, and picks the value out on the way.
std::string ReadWithInih(const std::string& file, const IniKey& key);

// GLib's GKeyFile. All throw std::runtime_error.
std::string ReadWithKeyFile(const std::string& file, const IniKey& key);
void ChangeWithKeyFile(const std::string& file, const IniKey& key, const std::string& value);

// SQLite: a table of values in memory, read by one prepared statement.
class CSqliteValues {
public:
    CSqliteValues();
    ~CSqliteValues();
    CSqliteValues(const CSqliteValues&) = delete;
    CSqliteValues& operator=(const CSqliteValues&) = delete;

    void Add(const std::string& path, const std::string& name, int value);
    int Read(const char* path, const char* name);

private:
    struct Handles;
    std::unique_ptr<Handles> m_Handles;
};

}  // namespace bench

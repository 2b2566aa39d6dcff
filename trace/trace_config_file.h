// A trace configuration file that is loaded, searched and watched for changes.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

// Not thread-safe; CDebug uses it under its lock.
class CDebugTraceConfigFile {
public:
    // Loads the file and finds the section. The first successful call fixes the path as
    // `directory` / `fileName`; later ones read that path again. Returns whether the section was
    // found.
    // Deliberate: after a failure of any kind the object knows no file at all, so that a file which
    // fails once while it is watched is never looked at again.
    bool OpenSectionInIniFile(const char* section, const char* fileName, const char* directory);

    // True when the known file is newer than at its last load; its new size and time are then
    // remembered. A file that is gone is forgotten. False when no file is known.
    bool HasChanged();

    // Values of the section found last; see trace::FindValue and trace::FindNumber.
    [[nodiscard]] std::optional<std::string_view> Value(std::string_view key,
                                                        std::size_t limit) const;
    [[nodiscard]] std::optional<std::uint32_t> Number(std::string_view key) const;

private:
    bool Load();
    void Remember(const struct stat& status);
    void Forget();

    std::string m_Text;          // the whole file; empty when none is loaded
    std::string_view m_Section;  // into m_Text
    std::string m_Path;          // empty when no file is known
    std::int64_t m_Size = 0;     // bytes at the last load
    timespec m_ModificationTime{};
};

// Selects the trace configuration files of a directory, for scandir.
class CDirectoryList {
public:
    // Non-zero when the entry's name contains ".ini".
    static int SelectFilesInDir(const struct dirent* entry);
};

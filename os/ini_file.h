// The class over the two profile operations: typed values, lists and copies of one INI file.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/export.h"

// Keeps the file's name and the buffers of its results, and no handle or content of the file (see
// os/profile_string.h). Until Open succeeds, reads give their default and writes give false. Not
// thread-safe. Names may not point into a result of the same object.
class MORLA_API CIniFile {
public:
    CIniFile() = default;
    CIniFile(const CIniFile&) = delete;
    CIniFile& operator=(const CIniFile&) = delete;

    // A copy of the name; null clears it.
    void SetFilename(const char* name);
    // Never null; empty when no name is set.
    [[nodiscard]] const char* GetFileName() const;

    // True when there is a name and, with `mustExist`, that file can be opened for reading.
    bool Open(bool mustExist);
    bool Open(const char* name, bool mustExist);
    [[nodiscard]] bool IsOpen() const { return m_IsOpen; }
    void Close() { m_IsOpen = false; }

    // The number in C notation (decimal, 0x hexadecimal, leading-0 octal), of which the first 31
    // characters and the low 32 bits count.
    unsigned int GetNumber(const char* section, const char* key, unsigned int defaultValue);

    // The value or the default. False with `out` = default when not open, section or key is null,
    // the text is too long (64,510 characters and more) or memory runs out.
    bool GetString(std::string& out, const char* section, const char* key,
                   const char* defaultValue);
    // Valid until the next GetString, or `defaultValue` itself when there is no result.
    const char* GetString(const char* section, const char* key, const char* defaultValue);

    // Walks the section names (section null) or the section's keys; an empty text ends the walk.
    // A name is valid until the next GetEnum. A list longer than 64,509 characters reads as empty.
    const char* GetEnum(const char* section);
    const char* GetNextEnum();
    // Append to `out`, and start a walk of their own; false when there is nothing.
    bool GetSections(std::vector<std::string>& out);
    bool GetEnums(std::vector<std::string>& out, const char* section);

    // See WritePrivateProfileString, also for a null key or value.
    bool SetString(const char* section, const char* key, const char* value);
    bool SetNumber(const char* section, const char* key, unsigned int value);
    bool SetNumber(const char* section, const char* key, int value);
    bool DeleteSection(const char* section);
    bool DeleteKey(const char* section, const char* key);
    // Sets every key of `from` in `to`, where other keys stay. Returns whether the object is open.
    bool CopySection(const char* from, const char* to);
    // There is nothing to flush; only traces.
    void Flush() const;

private:
    // Reads into one of the object's buffers, or a caller's.
    bool Read(std::unique_ptr<char[]>& buffer, std::uint32_t& size, const char* section,
              const char* key, const char* defaultValue) const;
    bool AppendNames(std::vector<std::string>& out, const char* section);

    std::unique_ptr<char[]> m_FileName;
    std::unique_ptr<char[]> m_StringBuffer;
    std::unique_ptr<char[]> m_EnumBuffer;
    const char* m_EnumCursor = nullptr;  // into m_EnumBuffer, at the current name
    std::uint32_t m_StringBufferSize = 0;
    std::uint32_t m_EnumBufferSize = 0;
    bool m_IsOpen = false;
};

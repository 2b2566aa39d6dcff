#include "os/ini_file.h"

#include <fcntl.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "base/bounded_text.h"
#include "base/cancellation.h"
#include "base/owned_text.h"
#include "base/unique_fd.h"
#include "os/profile_file.h"
#include "os/profile_string.h"
#include "trace/debug.h"

namespace {

constexpr std::uint32_t kBufferStep = 1024;
constexpr std::uint32_t kLargestBuffer = 65535;  // the last whole step below is 64,512
constexpr std::size_t kNumberSize = 32;

// Makes a buffer of that size. False, with no buffer, beyond the limit or without memory.
bool Allocate(std::unique_ptr<char[]>& buffer, std::uint32_t& size, std::uint32_t wanted) {
    buffer.reset(wanted <= kLargestBuffer ? new (std::nothrow) char[wanted] : nullptr);
    size = buffer ? wanted : 0;
    return buffer != nullptr;
}

}  // namespace

// Grows the buffer by steps while the result says that it was perhaps cut. False when the largest
// buffer is too small or memory runs out (the buffer is then given up), and without a file name.
bool CIniFile::Read(std::unique_ptr<char[]>& buffer, std::uint32_t& size, const char* section,
                    const char* key, const char* defaultValue) const {
    if (!m_FileName || (!buffer && !Allocate(buffer, size, kBufferStep))) {
        return false;
    }
    const auto isPerhapsCut = [&] {
        return GetPrivateProfileString(section, key, defaultValue, buffer.get(), size,
                                       m_FileName.get()) >= size - 2;
    };
    while (isPerhapsCut()) {
        if (!Allocate(buffer, size, size + kBufferStep)) {
            return false;
        }
    }
    return true;
}

void CIniFile::SetFilename(const char* name) {
    m_FileName = CopyOfText(name);
}

const char* CIniFile::GetFileName() const {
    return m_FileName ? m_FileName.get() : "";
}

bool CIniFile::Open(bool mustExist) {
    const CCancellationHold hold;
    CUniqueFd file;
    m_IsOpen = m_FileName != nullptr &&
               (!mustExist || ini::OpenRegularFile(m_FileName.get(), O_RDONLY, file) == 0);
    return m_IsOpen;
}

bool CIniFile::Open(const char* name, bool mustExist) {
    SetFilename(name);
    return Open(mustExist);
}

unsigned int CIniFile::GetNumber(const char* section, const char* key, unsigned int defaultValue) {
    std::array<char, kNumberSize> text{};
    if (!m_IsOpen || section == nullptr || key == nullptr ||
        GetPrivateProfileString(section, key, nullptr, text.data(), text.size(),
                                m_FileName.get()) == 0) {
        return defaultValue;
    }
    return static_cast<unsigned int>(std::strtoul(text.data(), nullptr, 0));
}

bool CIniFile::GetString(std::string& out, const char* section, const char* key,
                         const char* defaultValue) {
    std::unique_ptr<char[]> buffer;
    std::uint32_t size = 0;
    const bool isRead = m_IsOpen && section != nullptr && key != nullptr &&
                        Read(buffer, size, section, key, defaultValue);
    const char* text = isRead ? buffer.get() : defaultValue;
    out = text != nullptr ? text : "";
    return isRead;
}

const char* CIniFile::GetString(const char* section, const char* key, const char* defaultValue) {
    const bool isRead = m_IsOpen && section != nullptr && key != nullptr &&
                        Read(m_StringBuffer, m_StringBufferSize, section, key, defaultValue);
    return isRead ? m_StringBuffer.get() : defaultValue;
}

const char* CIniFile::GetEnum(const char* section) {
    m_EnumCursor = m_IsOpen && Read(m_EnumBuffer, m_EnumBufferSize, section, nullptr, nullptr)
                       ? m_EnumBuffer.get()
                       : "";
    return m_EnumCursor;
}

const char* CIniFile::GetNextEnum() {
    if (m_EnumCursor == nullptr || *m_EnumCursor == '\0') {
        return "";
    }
    m_EnumCursor += std::strlen(m_EnumCursor) + 1;
    return m_EnumCursor;
}

bool CIniFile::AppendNames(std::vector<std::string>& out, const char* section) {
    const std::size_t before = out.size();
    for (const char* name = GetEnum(section); *name != '\0'; name = GetNextEnum()) {
        out.emplace_back(name);
    }
    return out.size() > before;
}

bool CIniFile::GetSections(std::vector<std::string>& out) {
    return AppendNames(out, nullptr);
}

bool CIniFile::GetEnums(std::vector<std::string>& out, const char* section) {
    return section != nullptr && AppendNames(out, section);
}

bool CIniFile::SetString(const char* section, const char* key, const char* value) {
    return m_IsOpen && section != nullptr &&
           WritePrivateProfileString(section, key, value, m_FileName.get());
}

bool CIniFile::SetNumber(const char* section, const char* key, unsigned int value) {
    std::array<char, kNumberSize> text{};
    (void)std::snprintf(text.data(), text.size(), "%u", value);
    return SetString(section, key, text.data());
}

bool CIniFile::SetNumber(const char* section, const char* key, int value) {
    std::array<char, kNumberSize> text{};
    (void)std::snprintf(text.data(), text.size(), "%d", value);
    return SetString(section, key, text.data());
}

bool CIniFile::DeleteSection(const char* section) {
    return SetString(section, nullptr, nullptr);
}

bool CIniFile::DeleteKey(const char* section, const char* key) {
    return SetString(section, key, nullptr);
}

bool CIniFile::CopySection(const char* from, const char* to) {
    if (from != nullptr && to != nullptr) {
        for (const char* key = GetEnum(from); *key != '\0'; key = GetNextEnum()) {
            SetString(to, key, GetString(from, key, ""));
        }
    }
    return m_IsOpen;
}

// Deliberate: the text is a write's warning, though nothing is written and no pointer is invalid.
void CIniFile::Flush() const {
    if (m_IsOpen && Debug.IsTracingActive()) {
        Debug.Print(4, "WritePrivateProfileString: ## WARNING: invalid pointer to AppName\n");
    }
}

// Owner of a memory mapping.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <utility>

// Unmaps its bytes when it goes; holds nothing when Data() is null. Movable, not copyable.
class CFileMapping {
public:
    CFileMapping() = default;
    // Takes over `size` bytes at `data` as mmap returned them; MAP_FAILED counts as nothing.
    CFileMapping(void* data, std::size_t size)
        : m_Data(data == MAP_FAILED ? nullptr : data), m_Size(data == MAP_FAILED ? 0 : size) {}
    CFileMapping(CFileMapping&& other) noexcept
        : m_Data(std::exchange(other.m_Data, nullptr)), m_Size(std::exchange(other.m_Size, 0)) {}
    CFileMapping& operator=(CFileMapping&& other) noexcept {
        if (this != &other) {
            Reset();
            m_Data = std::exchange(other.m_Data, nullptr);
            m_Size = std::exchange(other.m_Size, 0);
        }
        return *this;
    }
    CFileMapping(const CFileMapping&) = delete;
    CFileMapping& operator=(const CFileMapping&) = delete;
    ~CFileMapping() { Reset(); }

    void Reset() {
        if (m_Data != nullptr) {
            munmap(m_Data, m_Size);
        }
        m_Data = nullptr;
        m_Size = 0;
    }
    [[nodiscard]] char* Data() const { return static_cast<char*>(m_Data); }
    [[nodiscard]] std::size_t Size() const { return m_Size; }

private:
    void* m_Data = nullptr;
    std::size_t m_Size = 0;
};

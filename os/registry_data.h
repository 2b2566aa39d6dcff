// The data of one registry entry: its types, how each is held, and its owner.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

#include "base/str_map.h"

class CRegistryNode;

// The type of an entry, as a table row holds it. Callers pass these numbers.
inline constexpr std::uint32_t kRegSz = 1;        // an owned, zero-terminated text
inline constexpr std::uint32_t kRegExpandSz = 2;  // the same, with %NAME% expanded when read
inline constexpr std::uint32_t kRegBinary = 3;    // an owned array: a 32-bit count, then the bytes
inline constexpr std::uint32_t kRegDword = 4;     // the number itself, in place of the pointer
inline constexpr std::uint32_t kRegSubkey = 666;  // an owned CRegistryNode; null after DeleteKey
inline constexpr std::uint32_t kRegAnyValue = 999;  // only a filter of EnumVal, never stored

inline bool IsRegistryText(std::uint32_t type) {
    return type == kRegSz || type == kRegExpandSz;
}

// Views of a row's data. The row must be of that type; they last as long as the row's data.
std::string_view RegistryTextOf(const StrMapRow& row);
std::span<const unsigned char> RegistryBinaryOf(const StrMapRow& row);
std::uint32_t RegistryNumberOf(const StrMapRow& row);

// Owner of the data of an entry outside a table: on its way in, or after it was taken out.
// Releases it by its type: a subkey's node is emptied with everything below it and given up.
class CRegistryData {
public:
    CRegistryData() = default;  // holds nothing; type 0
    CRegistryData(CRegistryData&& other) noexcept { Swap(other); }
    CRegistryData& operator=(CRegistryData&& other) noexcept {
        Swap(other);
        return *this;
    }
    CRegistryData(const CRegistryData&) = delete;
    CRegistryData& operator=(const CRegistryData&) = delete;
    ~CRegistryData();

    // These copy their argument and throw std::bad_alloc. `type` is one of the two text types.
    static CRegistryData MakeText(std::uint32_t type, std::string_view text);
    static CRegistryData MakeBinary(std::span<const unsigned char> bytes);
    static CRegistryData MakeNumber(std::uint32_t number);
    // Takes over one reference to the node, which must not be in a tree yet.
    static CRegistryData MakeSubkey(CRegistryNode* node);

    [[nodiscard]] void* Get() const { return m_Data; }
    [[nodiscard]] std::uint32_t Type() const { return m_Type; }

    // Hands the data to a table, whose row was just made from Get() and Type().
    void Release() { m_Data = nullptr; }
    // Exchanges data and type with a row.
    void Swap(StrMapRow& row) {
        std::swap(m_Data, row.Data);
        std::swap(m_Type, row.Type);
    }

private:
    CRegistryData(void* data, std::uint32_t type) : m_Data(data), m_Type(type) {}
    void Swap(CRegistryData& other) noexcept {
        std::swap(m_Data, other.m_Data);
        std::swap(m_Type, other.m_Type);
    }

    void* m_Data = nullptr;
    std::uint32_t m_Type = 0;
};

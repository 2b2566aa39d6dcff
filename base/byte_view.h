// A view of bytes with a checked end, and numbers read out of it in little-endian order.
#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

// Does not own its bytes. Nothing here reads beyond the end: a number that is not wholly inside is
// not read, a part is cut.
class CByteView {
public:
    CByteView() = default;
    CByteView(const unsigned char* data, std::size_t size) : m_Data(data), m_Size(size) {}
    explicit CByteView(std::string_view text)
        : m_Data(reinterpret_cast<const unsigned char*>(text.data())), m_Size(text.size()) {}

    [[nodiscard]] const unsigned char* Data() const { return m_Data; }
    [[nodiscard]] std::size_t Size() const { return m_Size; }
    [[nodiscard]] bool IsEmpty() const { return m_Size == 0; }
    [[nodiscard]] std::string_view Text() const {
        return m_Size == 0 ? std::string_view()
                           : std::string_view(reinterpret_cast<const char*>(m_Data), m_Size);
    }

    // Whether `length` bytes stand at `offset`.
    [[nodiscard]] bool Holds(std::size_t offset, std::size_t length) const {
        return offset <= m_Size && length <= m_Size - offset;
    }
    // At most `length` bytes from `offset`; none when that is behind the end.
    [[nodiscard]] CByteView Part(std::size_t offset, std::size_t length = SIZE_MAX) const {
        if (offset >= m_Size) {
            return {};
        }
        return {m_Data + offset, std::min(length, m_Size - offset)};
    }
    // False, with `value` unchanged, when the number is not wholly inside.
    template <std::unsigned_integral Number>
    [[nodiscard]] bool Read(std::size_t offset, Number& value) const {
        if (!Holds(offset, sizeof value)) {
            return false;
        }
        std::memcpy(&value, m_Data + offset, sizeof value);  // x86-64 is little-endian itself
        return true;
    }
    // The number, or 0 when it is not wholly inside.
    template <std::unsigned_integral Number>
    [[nodiscard]] Number ReadOrZero(std::size_t offset) const {
        Number value = 0;
        return Read(offset, value) ? value : Number{0};
    }
    // Copies the record at `offset`. False, with `record` unchanged, when it is not wholly inside.
    template <typename Record>
    [[nodiscard]] bool Copy(std::size_t offset, Record& record) const {
        static_assert(std::is_trivially_copyable_v<Record>);
        if (!Holds(offset, sizeof record)) {
            return false;
        }
        std::memcpy(&record, m_Data + offset, sizeof record);
        return true;
    }

private:
    const unsigned char* m_Data = nullptr;
    std::size_t m_Size = 0;
};

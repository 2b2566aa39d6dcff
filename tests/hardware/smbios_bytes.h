// Bytes of SMBIOS tables for tests: structures and entry points.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "hardware/data_stream.h"
#include "hardware/dmi_records.h"

namespace smbios_bytes {

template <typename Record>
std::string Bytes(const Record& record) {
    return {reinterpret_cast<const char*>(&record), sizeof record};
}

inline CDataStream Stream(std::string_view bytes) {
    return CDataStream(CByteView(bytes));
}

// A structure whose formatted area holds zeros behind the head; with its strings and two NULs.
inline std::string Structure(std::uint8_t type, std::uint8_t length = 4, std::uint16_t handle = 0,
                             const std::vector<std::string>& strings = {}) {
    std::string bytes = Bytes(_DMI_20_HEADER{type, length, handle});
    bytes.resize(length > bytes.size() ? length : bytes.size());
    for (const std::string& text : strings) {
        bytes += text + '\0';
    }
    return bytes + std::string(strings.empty() ? 2 : 1, '\0');
}

inline std::string Repeat(const std::string& bytes, std::size_t count) {
    std::string result;
    for (std::size_t i = 0; i < count; ++i) {
        result += bytes;
    }
    return result;
}

// With the byte at `place` set so that the first `length` bytes add up to 0.
inline std::string WithChecksum(std::string bytes, std::size_t place, std::size_t length) {
    std::uint8_t sum = 0;
    bytes[place] = 0;
    for (std::size_t i = 0; i < length; ++i) {
        sum = static_cast<std::uint8_t>(sum + static_cast<std::uint8_t>(bytes[i]));
    }
    bytes[place] = static_cast<char>(0U - sum);
    return bytes;
}

inline std::string EntryPoint21(std::uint32_t address, std::uint16_t length,
                                std::uint16_t count = 1) {
    _DMI_21_EPS entry{{'_', 'S', 'M', '_'},      0, 31,     2,       7,     64,  0, {},
                      {'_', 'D', 'M', 'I', '_'}, 0, length, address, count, 0x27};
    return WithChecksum(Bytes(entry), offsetof(_DMI_21_EPS, Checksum), sizeof entry);
}

inline std::string EntryPoint30(std::uint64_t address, std::uint32_t size) {
    _DMI_30_EPS entry{{'_', 'S', 'M', '3', '_'}, 0, 24, 3, 4, 1, 1, 0, size, address};
    return WithChecksum(Bytes(entry), offsetof(_DMI_30_EPS, Checksum), sizeof entry);
}

}  // namespace smbios_bytes

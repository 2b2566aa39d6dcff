#include "bench/smbios_dump.h"

#include <cstdint>
#include <initializer_list>
#include <string_view>

#include "hardware/dmi_records.h"

namespace bench {

namespace {

void AddStructure(std::string& table, std::uint8_t type, std::uint8_t length, std::size_t handle,
                  std::initializer_list<std::string_view> strings) {
    const std::size_t start = table.size();
    const _DMI_20_HEADER head{type, length, static_cast<std::uint16_t>(handle)};
    table.append(reinterpret_cast<const char*>(&head), sizeof head);
    table.resize(start + length);
    std::uint8_t number = 0;
    for (const std::string_view text : strings) {
        table[start + 16 + number] = static_cast<char>(number + 1);
        ++number;
        table.append(text).push_back('\0');
    }
    table.append(strings.size() == 0 ? 2 : 1, '\0');
}

}  // namespace

SmbiosDump MakeSmbiosDump(std::size_t structureCount) {
    SmbiosDump dump;
    for (std::size_t i = 0; i + 1 < structureCount; ++i) {
        const std::string number = std::to_string(i);
        switch (i % 4) {
        case 0:
            AddStructure(dump.Table, 17, 40, i,
                         {"DIMM " + number, "BANK " + number, "Maker", "Serial " + number});
            break;
        case 1: AddStructure(dump.Table, 9, 17, i, {"Slot " + number}); break;
        case 2: AddStructure(dump.Table, 7, 19, i, {"L2 cache of socket " + number}); break;
        default: AddStructure(dump.Table, 221, 32, i, {"Vendor's own", number}); break;
        }
    }
    AddStructure(dump.Table, 127, 4, structureCount - 1, {});
    // dmidecode wants its dump with the table 32 bytes behind the entry point.
    _DMI_30_EPS entry{{'_', 'S', 'M', '3', '_'},
                      0,
                      24,
                      3,
                      4,
                      0,
                      1,
                      0,
                      static_cast<std::uint32_t>(dump.Table.size()),
                      32};
    std::uint8_t sum = 0;
    for (std::size_t i = 0; i < sizeof entry; ++i) {
        sum = static_cast<std::uint8_t>(sum + reinterpret_cast<const std::uint8_t*>(&entry)[i]);
    }
    entry.Checksum = static_cast<std::uint8_t>(0U - sum);
    dump.EntryPoint.assign(reinterpret_cast<const char*>(&entry), sizeof entry);
    return dump;
}

}  // namespace bench

// A large firmware table, generated.
#pragma once

#include <cstddef>
#include <string>

namespace bench {

struct SmbiosDump {
    std::string EntryPoint;  // 3.x, 24 bytes
    std::string Table;
};

// That many structures: memory devices, slots, caches and vendor's own, and the end of the table.
SmbiosDump MakeSmbiosDump(std::size_t structureCount);

}  // namespace bench

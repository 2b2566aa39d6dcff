// The inventory for people: tables, and a tree from slots down to volumes, of lines of at most 100
// columns. Made of the JSON description, so that a stored one can be shown likewise.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inventory/describe.h"

namespace inventory {

// The sections that the description holds, each under its title. `withReasons`: why each PCI
// function has its slot, or has none.
[[nodiscard]] std::vector<std::string> ListInventory(const Json& inventory, bool withReasons);

// Slot, card, interface or drive, partition, volume. Needs a description of everything.
[[nodiscard]] std::vector<std::string> DrawInventory(const Json& inventory, bool withReasons);

}  // namespace inventory

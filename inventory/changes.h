// What came and what went between two descriptions of the inventory.
#pragma once

#include <string>
#include <vector>

#include "inventory/json_fields.h"

namespace inventory {

struct Change {
    bool HasCome;      // else it has gone
    std::string What;  // "drive sda (MODEL, serial number S3RIAL)"; may hold any character
};

// PCI functions, network interfaces, drives, and volumes that are not the kernel's own: what has
// gone first. A thing that shows itself otherwise (another card in the same place, another drive of
// the same name) has gone and come. Either description may be any JSON.
[[nodiscard]] std::vector<Change> CompareInventories(const Json& before, const Json& after);

}  // namespace inventory

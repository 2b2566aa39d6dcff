// Work of the host services in a size, for the table and for the cost as work grows.
#pragma once

#include <cstddef>
#include <string>

#include "bench/measure.h"

namespace bench {

// Both throw std::runtime_error when a side gives a wrong result.

struct Sides {
    Sample Ours;
    Sample Peer;
};

Sides ReadOneIniKey(std::size_t lines);             // inih
Sides LoadAndSaveRegistry(std::size_t valueCount);  // GKeyFile

}  // namespace bench

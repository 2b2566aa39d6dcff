// A folder of PCI functions as /proc/bus/pci has them, made up.
#pragma once

#include <cstddef>
#include <filesystem>

namespace bench {

// Functions of single buses of 32 devices of 8 functions, each with a configuration space of 256
// bytes, and the list `devices`, which lspci begins with. All of one model that pci.ids knows.
// Throws std::exception.
void MakePciFunctions(const std::filesystem::path& folder, std::size_t count);

}  // namespace bench

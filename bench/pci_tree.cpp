#include "bench/pci_tree.h"

#include <cstdio>
#include <fstream>
#include <string>

namespace bench {

void MakePciFunctions(const std::filesystem::path& folder, std::size_t count) {
    std::string space(256, '\0');
    space.replace(0, 4, "\x86\x80\x01\x10");
    std::filesystem::create_directories(folder);
    std::ofstream devices(folder / "devices");
    char text[64];
    for (std::size_t i = 0; i < count; ++i) {
        (void)std::snprintf(text, sizeof text, "%02zx", i / 256);
        const auto bus = folder / text;
        std::filesystem::create_directories(bus);
        (void)std::snprintf(text, sizeof text, "%02zx.%zx", i / 8 % 32, i % 8);
        std::ofstream(bus / text, std::ios::binary) << space;
        // Bus, device and function; vendor and device; interrupt, seven bases and seven sizes.
        (void)std::snprintf(text, sizeof text, "%04zx\t80861001\t0", i);
        devices << text;
        for (int field = 0; field < 14; ++field) {
            devices << "\t0";
        }
        devices << '\n';
    }
}

}  // namespace bench

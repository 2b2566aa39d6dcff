// Whole runs of the operator's tool beside the field's.
#include <filesystem>
#include <fstream>

#include "bench/comparison.h"
#include "bench/program.h"
#include "bench/smbios_dump.h"

namespace bench {

namespace {

constexpr std::size_t kStructures = 5'000;

Outcome ShowSmbios(const Settings& settings) {
    const auto folder = std::filesystem::temp_directory_path() / "bench_smbios";
    std::filesystem::create_directories(folder);
    const SmbiosDump dump = MakeSmbiosDump(kStructures);
    std::ofstream(folder / "smbios_entry_point") << dump.EntryPoint;
    std::ofstream(folder / "DMI") << dump.Table;
    std::string entry = dump.EntryPoint;
    entry.resize(32);
    std::ofstream(folder / "dump") << entry << dump.Table;
    const auto ours = [&](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            RunProgram({MORLACTL_EXECUTABLE, "smbios", "--from", folder}, true);
        }
    };
    const auto peer = [&](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            RunProgram({MORLA_DMIDECODE, "--from-dump", folder / "dump"}, true);
        }
    };
    return {ComparePairs(TimePerCall(ours, Clock::kWall), TimePerCall(peer, Clock::kWall),
                         settings.Pairs())};
}

}  // namespace

Comparisons ProgramComparisons() {
    return {
        {"26", "program smbios", "morlactl smbios, 5,000 structures", "dmidecode --from-dump", 1.0,
         "ns", ShowSmbios},
        // Its place. It is measured as soon as the tool shows the inventory: against lspci -xx on
        // as many functions.
        {"27", "program inventory", "morlactl inventory, 140 functions", "lspci -xx", 1.0, "ns",
         nullptr},
    };
}

}  // namespace bench

// Whole runs of the operator's tool beside the field's.
#include <filesystem>
#include <fstream>

#include "bench/comparison.h"
#include "bench/pci_tree.h"
#include "bench/program.h"
#include "bench/smbios_dump.h"

namespace bench {

namespace {

constexpr std::size_t kStructures = 5'000;
constexpr std::size_t kFunctions = 140;

// Both programs once for each call, their output to /dev/null.
Outcome ComparePrograms(const std::vector<std::string>& ours, const std::vector<std::string>& peer,
                        const Settings& settings) {
    const auto run = [](const std::vector<std::string>& words) {
        return TimePerCall(
            [words](std::size_t count) {
                for (std::size_t i = 0; i < count; ++i) {
                    RunProgram(words, true);
                }
            },
            Clock::kWall);
    };
    return {ComparePairs(run(ours), run(peer), settings.Pairs())};
}

Outcome ShowSmbios(const Settings& settings) {
    const auto folder = std::filesystem::temp_directory_path() / "bench_smbios";
    std::filesystem::create_directories(folder);
    const SmbiosDump dump = MakeSmbiosDump(kStructures);
    std::ofstream(folder / "smbios_entry_point") << dump.EntryPoint;
    std::ofstream(folder / "DMI") << dump.Table;
    std::string entry = dump.EntryPoint;
    entry.resize(32);
    std::ofstream(folder / "dump") << entry << dump.Table;
    return ComparePrograms({MORLACTL_EXECUTABLE, "smbios", "--from", folder},
                           {MORLA_DMIDECODE, "--from-dump", folder / "dump"}, settings);
}

Outcome ShowPciFunctions(const Settings& settings) {
    const auto root = std::filesystem::temp_directory_path() / "bench_pci";
    const auto folder = root / "proc/bus/pci";
    MakePciFunctions(folder, kFunctions);
    return ComparePrograms(
        {MORLACTL_EXECUTABLE, "inventory", "--section", "slots", "--from", root},
        {MORLA_LSPCI, "-A", "linux-proc", "-O", "proc.path=" + folder.string(), "-xx"}, settings);
}

}  // namespace

Comparisons ProgramComparisons() {
    return {
        {"26", "program smbios", "morlactl smbios, 5,000 structures", "dmidecode --from-dump", 1.0,
         "ns", ShowSmbios},
        {"27", "program inventory", "morlactl inventory, 140 functions", "lspci -xx", 1.0, "ns",
         ShowPciFunctions},
    };
}

}  // namespace bench

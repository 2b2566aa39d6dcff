// INI files: one key read, one key changed.
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "bench/comparison.h"
#include "bench/service_peers.h"
#include "bench/services.h"
#include "os/ini_file.h"

namespace bench {

namespace {

std::string MakeIniFile(const std::string& name, std::size_t lines) {
    const std::string path = (std::filesystem::temp_directory_path() / name).string();
    std::ofstream(path) << IniText(lines);
    return path;
}

std::string ReadOurs(const std::string& file, const IniKey& key) {
    CIniFile ini;
    std::string value;
    ini.Open(file.c_str(), true);
    ini.GetString(value, key.Section.c_str(), key.Key.c_str(), "");
    return value;
}

template <typename Read>
Sample TimeReading(const std::string& file, const IniKey& key, Read read) {
    if (!read(file, key).starts_with("the value of line ")) {
        throw std::runtime_error("a reader of INI files gave a wrong value");
    }
    return TimePerCall([=](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            Keep(read(file, key).size());
        }
    });
}

Outcome Read(const Settings& settings) {
    const Sides sides = ReadOneIniKey(1'000);
    return {ComparePairs(sides.Ours, sides.Peer, settings.Pairs())};
}

Outcome ReadAndLoad(const Settings& settings) {
    const std::string file = MakeIniFile("bench.ini", 1'000);
    const IniKey key = MiddleKey(1'000);
    return {ComparePairs(TimeReading(file, key, ReadOurs), TimeReading(file, key, ReadWithKeyFile),
                         settings.Pairs())};
}

Outcome Change(const Settings& settings) {
    const std::string ourFile = MakeIniFile("bench_ours.ini", 1'000);
    const std::string peerFile = MakeIniFile("bench_peer.ini", 1'000);
    const IniKey key = MiddleKey(1'000);
    const auto value = [](std::size_t i) {
        return "value " + std::to_string(i % 1'000);
    };
    const auto ours = [&](std::size_t count) {
        CIniFile ini;
        for (std::size_t i = 0; i < count; ++i) {
            ini.Open(ourFile.c_str(), true);
            if (!ini.SetString(key.Section.c_str(), key.Key.c_str(), value(i).c_str())) {
                throw std::runtime_error("the key could not be changed");
            }
        }
    };
    const auto peer = [&](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            ChangeWithKeyFile(peerFile, key, value(i));
        }
    };
    return {ComparePairs(TimePerCall(ours), TimePerCall(peer), settings.Pairs())};
}

}  // namespace

Sides ReadOneIniKey(std::size_t lines) {
    const std::string file = MakeIniFile("bench.ini", lines);
    const IniKey key = MiddleKey(lines);
    return {TimeReading(file, key, ReadOurs), TimeReading(file, key, ReadWithInih)};
}

Comparisons IniComparisons() {
    const std::string read = "INI: a key amid 1,000 lines";
    return {
        {"20", "ini read", read, "inih", 1.0, "ns", Read},
        {"20", "ini read-gkeyfile", read, "GKeyFile: load, get", 0.3, "ns", ReadAndLoad},
        {"21", "ini change", "INI: change a key there", "GKeyFile: load, set, save", 0.5, "ns",
         Change},
    };
}

}  // namespace bench

// The registry: the whole tree loaded and saved, one value read.
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "base/paths.h"
#include "bench/comparison.h"
#include "bench/service_peers.h"
#include "bench/services.h"
#include "os/registry.h"

namespace bench {

namespace {

constexpr std::size_t kKeyValues = 100;  // in one key
constexpr char kParent[] = "HKEY_LOCAL_MACHINE/SOFTWARE/Suite";

std::string KeyName(std::size_t value) {
    return "Key" + std::to_string(value / kKeyValues);
}

std::string ValueName(std::size_t value) {
    return "Value" + std::to_string(value % kKeyValues);
}

// The tree of this process, and its file, with that many numbers.
void FillRegistry(std::size_t valueCount) {
    std::filesystem::create_directories(paths::kRegistryDirectory);
    CRegistry key;
    key.Open("HKEY_LOCAL_MACHINE", nullptr, -1);
    key.DeleteKey("SOFTWARE");
    for (std::size_t i = 0; i < valueCount; ++i) {
        if (i % kKeyValues == 0 &&
            key.CreateKey(CRegistry::Hive(RegistryHive::LocalMachine),
                          ("SOFTWARE/Suite/" + KeyName(i)).c_str(), false, -1) != 0) {
            throw std::runtime_error("a key could not be made");
        }
        key.SetValue(ValueName(i).c_str(), static_cast<unsigned int>(i));
    }
    CRegistry::SaveTree();
}

Outcome ReadValue(const Settings& settings) {
    constexpr std::size_t kValues = 10'000;
    FillRegistry(kValues);
    CSqliteValues table;
    for (std::size_t i = 0; i < kValues; ++i) {
        table.Add(std::string(kParent) + '/' + KeyName(i), ValueName(i), static_cast<int>(i));
    }
    const std::string path = std::string(kParent) + "/Key50";
    CRegistry handle;
    const auto ours = [&](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            unsigned int value = 0;
            if (handle.Open(path.c_str(), nullptr, -1) != 0 ||
                handle.QueryValue(&value, "Value50") != 0 || value != 5'050) {
                throw std::runtime_error("the registry gave a wrong value");
            }
        }
    };
    const auto peer = [&](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            if (table.Read(path.c_str(), "Value50") != 5'050) {
                throw std::runtime_error("SQLite gave a wrong value");
            }
        }
    };
    return {ComparePairs(TimePerCall(ours), TimePerCall(peer), settings.Pairs())};
}

Outcome LoadAndSave(const Settings& settings) {
    const Sides sides = LoadAndSaveRegistry(10'000);
    return {ComparePairs(sides.Ours, sides.Peer, settings.Pairs())};
}

}  // namespace

// Both write a new file, flush it and let it take the old one's place.
Sides LoadAndSaveRegistry(std::size_t valueCount) {
    const std::string peerFile = std::string(paths::kRegistryDirectory) + "/peer";
    FillRegistry(valueCount);
    std::ofstream peer(peerFile);
    for (std::size_t i = 0; i < valueCount; ++i) {
        if (i % kKeyValues == 0) {
            peer << '[' << KeyName(i) << "]\n";
        }
        peer << ValueName(i) << '=' << i << '\n';
    }
    const std::string changed = std::string(kParent) + "/Key0";
    return {TimePerCall([=](std::size_t count) {
                CRegistry key(changed.c_str(), *std::make_unique<CRegistryNode*>(nullptr), -1);
                for (std::size_t i = 0; i < count; ++i) {
                    CRegistry::SetupTree(true);
                    key.Open(changed.c_str(), nullptr, -1);
                    key.SetValue("Value0", static_cast<unsigned int>(i));
                    CRegistry::SaveTree();
                }
            }),
            TimePerCall([=](std::size_t count) {
                for (std::size_t i = 0; i < count; ++i) {
                    ChangeWithKeyFile(peerFile, {"Key0", "Value0"}, std::to_string(i));
                }
            })};
}

Comparisons RegistryComparisons() {
    return {
        {"22", "registry load-save", "registry: load, save 10,000", "GKeyFile: load, save", 0.5,
         "ns", LoadAndSave},
        {"23", "registry read", "registry: value by 4-part path", "SQLite, prepared, in memory",
         0.3, "ns", ReadValue},
    };
}

}  // namespace bench

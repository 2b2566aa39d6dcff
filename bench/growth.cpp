// Cost as work grows.
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "base/paths.h"
#include "bench/baseline.h"
#include "bench/comparison.h"
#include "bench/many_threads.h"
#include "bench/pci_tree.h"
#include "bench/peers.h"
#include "bench/services.h"
#include "bench/smbios_dump.h"
#include "bench/trace_setup.h"
#include "hardware/pci_config_list.h"
#include "hardware/smbios.h"

namespace bench {

namespace {

constexpr double kNoPeer = -1;
constexpr int kPairs = 5;  // of one point

Point Measured(std::size_t size, const Sample& ours, const Sample& peer) {
    const Ratio ratio = ComparePairs(ours, peer, kPairs);
    return {static_cast<double>(size), ratio.Ours, ratio.Peer};
}

Point Measured(std::size_t size, const Sample& ours) {
    return {static_cast<double>(size),
            ComparePairs(
                ours, [] { return 1.0; }, kPairs)
                .Ours,
            kNoPeer};
}

std::vector<Point> Threads(const Settings&) {
    std::vector<Point> points;
    const auto debug = StartTrace({});
    const Peer spdlog = Spdlog(SpdlogSink::kFlushedByMany);
    const Work write = spdlog.Open();
    for (std::size_t threads = 1; threads <= 8; ++threads) {
        const auto ours =
            TimePerEntryOfMany([&](std::size_t count) { PrintEntries(*debug, count); }, threads);
        points.push_back(
            Measured(threads, ours, ThenCut(TimePerEntryOfMany(write, threads), spdlog.File)));
    }
    return points;
}

std::vector<Point> Lengths(const Settings&) {
    std::vector<Point> points;
    const auto debug = StartTrace({});
    std::string buffer(8'193, '\0');
    for (std::size_t length = 16; length <= 8'192; length *= 2) {
        const std::string text(length, 'x');
        const auto ours = TimePerCall([&](std::size_t count) {
            for (std::size_t i = 0; i < count; ++i) {
                debug->CDebug::Print(1, "%s", text.c_str());
            }
        });
        const auto peer = TimePerCall([&](std::size_t count) {
            for (std::size_t i = 0; i < count; ++i) {
                FormatMessageWithClock(buffer.data(), buffer.size(), "%s", text.c_str());
            }
        });
        points.push_back(Measured(length, ours, peer));
    }
    return points;
}

std::vector<Point> RingSizes(const Settings& settings) {
    std::vector<Point> points;
    const unsigned int largest = settings.IsQuick ? 64 : 512;
    for (unsigned int mebibytes = 1; mebibytes <= largest; mebibytes *= 2) {
        const auto debug = StartTrace({.Name = "large", .RingMebibytes = mebibytes});
        // Once around, so that every page is in place.
        PrintEntries(*debug, (std::size_t{mebibytes} << 20U) / 64);
        points.push_back(Measured(
            mebibytes, TimePerCall([&](std::size_t count) { PrintEntries(*debug, count); })));
    }
    std::filesystem::remove(RingPath({.Name = "large"}));
    return points;
}

template <auto MakeSides>
std::vector<Point> ServiceSizes(const Settings& settings) {
    std::vector<Point> points;
    const std::size_t largest = settings.IsQuick ? 10'000 : 100'000;
    for (std::size_t size = 10; size <= largest; size *= 10) {
        const Sides sides = MakeSides(size);
        points.push_back(Measured(size, sides.Ours, sides.Peer));
    }
    return points;
}

std::vector<Point> PciFunctions(const Settings&) {
    std::vector<Point> points;
    for (const std::size_t functions : {10U, 30U, 100U, 300U, 1'000U}) {
        MakePciFunctions(paths::kProcBusPci, functions);
        points.push_back(Measured(functions, TimePerCall([&](std::size_t count) {
                                      for (std::size_t i = 0; i < count; ++i) {
                                          CPciConfigList list;
                                          if (!CPciConfigList::ScanPciSlots(list, false) ||
                                              list.size() != functions) {
                                              throw std::runtime_error("functions are missing");
                                          }
                                      }
                                  })));
    }
    return points;
}

std::vector<Point> SmbiosStructures(const Settings&) {
    std::vector<Point> points;
    for (std::size_t structures = 10; structures <= 10'000; structures *= 10) {
        const SmbiosDump dump = MakeSmbiosDump(structures);
        const CDataStream entry{CByteView(dump.EntryPoint)};
        const CDataStream table{CByteView(dump.Table)};
        points.push_back(Measured(structures, TimePerCall([&](std::size_t count) {
                                      for (std::size_t i = 0; i < count; ++i) {
                                          CSMBios smbios;
                                          if (!smbios.ConnectCopy(entry, table)) {
                                              throw std::runtime_error("the table was refused");
                                          }
                                      }
                                  })));
    }
    return points;
}

}  // namespace

std::vector<Growth> TraceGrowth() {
    return {
        {"growth threads", "ring entry of all threads", "threads", "spdlog, flushed", Threads},
        {"growth length", "ring entry with a long string", "bytes of the string",
         "vsnprintf and a clock read", Lengths},
        {"growth ring", "ring entry", "MiB of the ring", "", RingSizes},
    };
}

std::vector<Growth> ServiceGrowth() {
    return {
        {"growth ini", "INI: read the key in the middle", "lines", "inih",
         ServiceSizes<ReadOneIniKey>},
        {"growth registry", "registry: load and save", "values", "GKeyFile",
         ServiceSizes<LoadAndSaveRegistry>},
        {"growth pci", "PCI scan without slots", "functions", "", PciFunctions},
        {"growth smbios", "SMBIOS: connect and index", "structures", "", SmbiosStructures},
    };
}

}  // namespace bench

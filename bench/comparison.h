// A comparison: a row of the table, with what it takes to measure it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "bench/measure.h"

namespace bench {

struct Outcome {
    Ratio Measured;
    std::string Survival{};  // the entries in the file after kill -9; empty: nothing is written
    std::string Note{};      // what a reader of this row must know
};

struct Comparison {
    std::string Number;   // row of the table in docs/performance.md
    std::string Name;     // what ./dev bench NAME takes; a whole group shares its first word
    std::string Work;     //
    std::string Against;  //
    double Goal;          // ours / peer, at most; 0: shown beside another row
    std::string Unit;     // ns or KiB
    // Throws std::exception when the run is not valid.
    std::function<Outcome(const Settings&)> Measure;
};

using Comparisons = std::vector<Comparison>;

// One for each source file of comparisons, in the order of the table.
Comparisons LevelComparisons();
Comparisons EntryComparisons();
Comparisons SteadinessComparisons();
Comparisons DaemonComparisons();
Comparisons FoundationComparisons();
Comparisons IniComparisons();
Comparisons RegistryComparisons();
Comparisons ProcessComparisons();
Comparisons ProgramComparisons();

// Cost as work grows. Peer is negative where there is none.
struct Point {
    double Size;
    double Ours;
    double Peer;
};

struct Growth {
    std::string Name;
    std::string Work;
    std::string Sizes;    // what Point::Size counts
    std::string Against;  // empty: no peer
    std::function<std::vector<Point>(const Settings&)> Measure;
};

std::vector<Growth> TraceGrowth();
std::vector<Growth> ServiceGrowth();

}  // namespace bench

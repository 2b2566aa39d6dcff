// Compares the trace object and the services with their peers: ./dev bench.
//
//     morla_bench [--quick] [--json FILE] [NAME]
//
// NAME is a comparison's name, its first word, or its row number. Exit status 0 when every
// comparison that was asked for gave a valid result, whatever the verdicts; 1 when one did not.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <optional>
#include <string>

#include "bench/comparison.h"
#include "bench/report.h"
#include "tests/support/private_root_guard.h"

namespace bench {

namespace {

constexpr int kExitUsage = 64;

struct Request {
    Settings How;
    std::string JsonFile;
    std::string Name;
};

std::optional<Request> Parse(char** arguments) {
    Request request;
    for (; *arguments != nullptr; ++arguments) {
        const std::string argument = *arguments;
        if (argument == "--quick") {
            request.How.IsQuick = true;
        } else if (argument == "--json" && arguments[1] != nullptr) {
            request.JsonFile = *++arguments;
        } else if (!argument.starts_with('-') && request.Name.empty()) {
            request.Name = argument;
        } else {
            return std::nullopt;
        }
    }
    return request;
}

bool IsWanted(const std::string& wanted, const std::string& number, const std::string& name) {
    return wanted.empty() || wanted == number || wanted == name || name.starts_with(wanted + " ");
}

Comparisons AllComparisons() {
    Comparisons all;
    for (const auto& part : {LevelComparisons, EntryComparisons, SteadinessComparisons,
                             DaemonComparisons, FoundationComparisons, IniComparisons,
                             RegistryComparisons, ProcessComparisons, ProgramComparisons}) {
        for (Comparison& comparison : part()) {
            all.push_back(std::move(comparison));
        }
    }
    std::stable_sort(all.begin(), all.end(), [](const auto& left, const auto& right) {
        return std::stoi(left.Number) < std::stoi(right.Number);
    });
    return all;
}

int Run(const Request& request) {
    CReport report;
    for (const Comparison& comparison : AllComparisons()) {
        if (!IsWanted(request.Name, comparison.Number, comparison.Name)) {
            continue;
        }
        try {
            report.Add(comparison, comparison.Measure(request.How));
        } catch (const std::exception& failure) {
            report.AddFailure(comparison, failure.what());
        }
    }
    for (const auto& part : {TraceGrowth, ServiceGrowth}) {
        for (const Growth& growth : part()) {
            if (IsWanted(request.Name, "growth", growth.Name)) {
                report.Add(growth, growth.Measure(request.How));
            }
        }
    }
    if (report.IsEmpty()) {
        (void)std::fprintf(stderr, "bench: there is no comparison \"%s\"\n", request.Name.c_str());
        return kExitUsage;
    }
    return report.Finish(request.JsonFile) ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

}  // namespace bench

int main(int, char** argv) {
    const auto request = bench::Parse(argv + 1);
    if (!request) {
        (void)std::fputs("usage: morla_bench [--quick] [--json FILE] [NAME]\n", stderr);
        return bench::kExitUsage;
    }
    RequirePrivateRoot();
    try {
        return bench::Run(*request);
    } catch (const std::exception& failure) {
        (void)std::fprintf(stderr, "bench: %s\n", failure.what());
        return EXIT_FAILURE;
    }
}

// morlactl inventory: which card and which drive sit in which slot.
#include <CLI/CLI.hpp>
#include <memory>

#include "hardware/pci_ids.h"
#include "inventory/report.h"
#include "tools/capture/capture.h"
#include "tools/capture/captured_root.h"
#include "tools/command.h"

namespace tools {

namespace {

constexpr char kNotes[] =
    "Lines have 100 columns at most. What could not be read is told on standard error.\n"
    "--from shows a tree that --capture made: it has no device nodes, so drives are not asked,\n"
    "and volumes have no sizes. --from and --capture together write a captured tree anew.";

struct Arguments {
    std::string Section;
    std::string From;     // a captured tree; empty: this machine
    std::string Capture;  // the file to write; empty: none
    bool AsJson = false;
    bool AsTree = false;
    bool WithReasons = false;
    bool TouchesNetwork = false;
    bool WithoutInquiry = false;
    bool IsAnonymous = false;
};

_ScanOptions ScanOptions(const Arguments& arguments) {
    _ScanOptions options = EffectiveScanOptions(nullptr);
    options.Flags |= arguments.TouchesNetwork ? kScanNetworkVolumes : 0U;
    options.Flags |= arguments.WithoutInquiry ? kScanNoInquiry : 0U;
    if (!arguments.From.empty()) {
        // Neither the drives nor the file systems of this machine are meant.
        options.Flags |= kScanNoInquiry | kScanNoVolumeSizes;
    }
    return options;
}

// What a section is made of, so that one about slots sends no command to a drive.
int WhatToScan(const std::string& section) {
    unsigned int what = CSystemDeviceScan::kScanAdapters;
    if (section.empty() || section == "drives" || section == "volumes") {
        what |= CSystemDeviceScan::kScanDrives | CSystemDeviceScan::kScanVolumes;
    }
    return static_cast<int>(what);
}

// 0, else the exit code.
int Scan(const Arguments& arguments, inventory::Snapshot& snapshot) {
    constexpr unsigned int kTimeoutMs = 90000;
    CSystemDeviceScan scan;
    const _ScanOptions options = ScanOptions(arguments);
    if (scan.ScanHardware(WhatToScan(arguments.Section), false, kTimeoutMs, &options) != 0 ||
        !inventory::TakeSnapshot(scan, !arguments.From.empty(), snapshot)) {
        return Fail(kFailure, "the hardware scan failed");
    }
    for (const inventory::Gap& gap : snapshot.Gaps) {
        Warn("not read: " + gap.What + ": " + gap.Why);
    }
    return kSuccess;
}

void Print(const Arguments& arguments, const inventory::Snapshot& snapshot) {
    const std::uint32_t sections = arguments.Section.empty()
                                       ? inventory::kEverything
                                       : inventory::FindSection(arguments.Section);
    const inventory::Json json = inventory::Describe(snapshot, sections);
    if (arguments.AsJson) {
        PrintLine(json_text::Dump(json));
        return;
    }
    const std::vector<std::string> lines =
        arguments.AsTree ? inventory::DrawInventory(json, arguments.WithReasons)
                         : inventory::ListInventory(json, arguments.WithReasons);
    for (const std::string& line : lines) {
        PrintLine(line);
    }
}

int Run(const Arguments& arguments) {
    CCaptureFile file;
    if (!arguments.Capture.empty()) {
        if (const int code = file.Open(arguments.Capture); code != kSuccess) {
            return code;
        }
    }
    if (!arguments.From.empty()) {
        (void)CPciIds::System();  // names come from this machine
        if (const int code = EnterCapturedRoot(arguments.From); code != kSuccess) {
            return code;
        }
    }
    inventory::Snapshot snapshot;
    if (const int code = Scan(arguments, snapshot); code != kSuccess) {
        return code;
    }
    if (!arguments.Capture.empty()) {
        return WriteCapture(file, snapshot, arguments.IsAnonymous);
    }
    Print(arguments, snapshot);
    return kSuccess;
}

}  // namespace

void AddInventoryCommands(CLI::App& app, int& exitCode) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const command =
        app.add_subcommand("inventory", "Show which card and which drive sit in which slot");
    command->footer(kNotes);
    CLI::Option* const json = command->add_flag("--json", arguments->AsJson, "Print JSON");
    CLI::Option* const section =
        command->add_option("--section", arguments->Section, "Only this part")
            ->check(CLI::IsMember({"slots", "adapters", "drives", "volumes", "firmware"}));
    CLI::Option* const tree = command->add_flag(
        "--tree", arguments->AsTree, "Draw slot, card, interface or drive, partition, volume");
    CLI::Option* const why = command->add_flag(
        "--why", arguments->WithReasons, "Say why each PCI function has its slot, or has none");
    CLI::Option* const from =
        command->add_option("--from", arguments->From, "A captured tree, not this machine")
            ->type_name("DIR");
    CLI::Option* const network =
        command->add_flag("--touch-network", arguments->TouchesNetwork,
                          "Ask for the sizes of volumes on other machines, too");
    command->add_flag("--no-inquiry", arguments->WithoutInquiry, "Send no command to a drive");
    CLI::Option* const capture =
        command
            ->add_option("--capture", arguments->Capture,
                         "Write what the inventory reads into this file, as .tar.gz")
            ->type_name("FILE");
    command
        ->add_flag("--anonymous", arguments->IsAnonymous,
                   "Replace serial numbers, world-wide names, UUIDs and MAC addresses in it")
        ->needs(capture);
    json->excludes(tree)->excludes(why)->excludes(capture);
    tree->excludes(section)->excludes(capture);
    why->excludes(capture);
    section->excludes(capture);
    network->excludes(from);
    command->callback([arguments, from, capture, why, &exitCode] {
        const bool isUnnamed = (from->count() != 0 && arguments->From.empty()) ||
                               (capture->count() != 0 && arguments->Capture.empty());
        if (isUnnamed) {
            exitCode = Fail(kUsage, "--from and --capture need a name");
        } else if (why->count() != 0 && !arguments->Section.empty() &&
                   arguments->Section != "slots") {
            exitCode = Fail(kUsage, "--why is about the section slots");
        } else {
            exitCode = Run(*arguments);
        }
    });
}

}  // namespace tools

// A module that keeps the hardware inventory: it scans at start and whenever the set of PCI devices
// changes, stores the last and the previous inventory, and traces what came and what went.
//
// Settings, in the section [inventory]: IntervalSeconds, how often the set of PCI devices is looked
// at (1 to 86400, default 5); Inquiry, whether drives are asked for their serial numbers (0 or 1,
// default 1).
#include <cstdlib>
#include <set>
#include <string>
#include <utility>

#include "base/directory.h"
#include "base/error_text.h"
#include "base/paths.h"
#include "base/text_safety.h"
#include "hardware/system_device_scan.h"
#include "inventory/changes.h"
#include "inventory/describe.h"
#include "inventory/snapshot.h"
#include "modules/inventory/stored_inventory.h"
#include "morla/debug.h"
#include "morla/module.h"

namespace {

using inventory::Json;

constexpr unsigned long kDefaultInterval = 5;      // seconds
constexpr unsigned long kLongestInterval = 86400;  // seconds

// The names alone, without touching a device.
std::set<std::string> ListPciDevices() {
    std::vector<std::string> names;
    (void)ListDirectory(paths::kSysPciDevices, names);
    return {names.begin(), names.end()};
}

class CInventory final : public ModuleInterface {
public:
    const char* Name() const override { return "inventory"; }
    const char* Version() const override { return "1.0"; }

    bool Init(ModuleContext& context) override {
        m_Interval = std::strtoul(context.Setting("IntervalSeconds", ""), nullptr, 10);
        if (m_Interval == 0 || m_Interval > kLongestInterval) {
            m_Interval = kDefaultInterval;
        }
        if (std::string(context.Setting("Inquiry", "1")) == "0") {
            m_Options.Flags |= kScanNoInquiry;
        }
        return true;
    }

    void Run(ModuleContext& context) override {
        const auto intervalMs = static_cast<std::uint32_t>(m_Interval * 1000);
        std::set<std::string> known = ListPciDevices();
        std::set<std::string> seen = known;
        if (!Scan(context, context.IsForceRescan())) {
            known.clear();  // so that the next look scans again
        }
        while (!context.WaitForStop(intervalMs)) {
            std::set<std::string> now = ListPciDevices();
            const bool isSettled = now == seen;  // a card with many functions comes in steps
            seen = std::move(now);
            if (isSettled && seen != known) {
                Debug.Print(1, "\nINVENTORY           : the set of PCI devices changed");
                known = Scan(context, false) ? seen : std::set<std::string>();
            }
        }
    }

    // A scan that is under way ends after its present step.
    void Stop() override { m_Scan.Terminate(0); }

private:
    // False when nothing could be scanned. `isForced`: what is stored counts as another machine's,
    // and becomes the previous inventory.
    bool Scan(ModuleContext& context, bool isForced) {
        constexpr unsigned int kTimeoutMs = 90000;
        constexpr unsigned int kWhat = CSystemDeviceScan::kScanAdapters |
                                       CSystemDeviceScan::kScanDrives |
                                       CSystemDeviceScan::kScanVolumes;
        inventory::Snapshot snapshot;
        if (m_Scan.ScanHardware(static_cast<int>(kWhat), false, kTimeoutMs, &m_Options) != 0 ||
            !inventory::TakeSnapshot(m_Scan, false, snapshot)) {
            Debug.Print(1, "\nINVENTORY           : the hardware scan failed");
            return false;
        }
        if (context.IsStopRequested()) {
            return true;  // the scan may have ended early
        }
        CSystemDeviceScan::Shared.ClassCopy(m_Scan);
        Store(inventory::Describe(snapshot), isForced);
        return true;
    }

    void Store(Json now, bool isForced) {
        if (m_Last.is_null()) {
            m_Last = Json::parse(LoadLastInventory(), nullptr, false);
        }
        const bool isFirst = !m_Last.is_object();
        const auto changes = inventory::CompareInventories(isFirst ? now : m_Last, now);
        for (const inventory::Change& change : changes) {
            Debug.Print(1, "\nINVENTORY           : %s: %s", change.HasCome ? "came" : "went",
                        text::EscapeControls(change.What).c_str());
        }
        m_Last = std::move(now);
        const int error = StoreInventory(json_text::Dump(m_Last) + '\n',
                                         !isFirst && (isForced || !changes.empty()));
        if (error != 0) {
            Debug.Print(1, "\nINVENTORY           : cannot store it in %s (errno=%d: %s)",
                        paths::kInventoryState, error, CErrorText(error).Get());
            return;
        }
        Debug.Print(1, "\nINVENTORY           : stored, %d changes",
                    static_cast<int>(changes.size()));
    }

    unsigned long m_Interval = kDefaultInterval;  // seconds
    _ScanOptions m_Options = EffectiveScanOptions(nullptr);
    CSystemDeviceScan m_Scan;
    Json m_Last;  // null until the first scan; no object when nothing was stored
};

}  // namespace

MORLA_MODULE(CInventory)

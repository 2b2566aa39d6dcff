// One finished device scan, taken out of the scan object: what descriptions and reports are made
// of.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "hardware/pci_config_list.h"
#include "hardware/pci_slot_table.h"
#include "hardware/system_adapter.h"
#include "hardware/system_device_scan.h"
#include "hardware/system_drive.h"
#include "hardware/system_volume.h"
#include "inventory/firmware.h"

namespace inventory {

// What could not be read, and why; both for people.
struct Gap {
    std::string What;
    std::string Why;
};

struct Snapshot {
    CPciConfigList Functions;
    std::vector<pci_slots::Row> SlotRows;  // the firmware's slot table
    std::vector<CSystemAdapter> Adapters;
    std::vector<CSystemDrive> Drives;
    std::vector<CSystemVolume> Volumes;
    FirmwareReport Firmware;
    std::vector<Gap> Gaps;
};

// Copies what the last scan found, and reads the firmware's tables. False when the scan object gave
// no access in time; what came until then is in `snapshot`. `isCapture`: the tree is a captured
// one, which the texts of the gaps then say.
[[nodiscard]] bool TakeSnapshot(CSystemDeviceScan& scan, bool isCapture, Snapshot& snapshot);

}  // namespace inventory

#include "inventory/snapshot.h"

#include <unistd.h>

#include "base/directory.h"
#include "base/paths.h"
#include "hardware/pci_slot_map.h"

namespace inventory {

namespace {

const char* ReasonOfNothing(bool isCapture) {
    if (isCapture) {
        return "the capture holds none";
    }
    return geteuid() == 0 ? "this machine gives none"
                          : "this machine gives none to an ordinary user";
}

std::vector<pci_slots::Row> ReadSlotRows() {
    CPciSlotMap map;
    (void)map.FindRow(0, 0);  // the first search builds the table
    return map.GetRows();
}

// Buses that the kernel has and that a CPciAddress cannot name.
void AddFarDomains(Snapshot& snapshot) {
    std::vector<std::string> names;
    (void)ListDirectory(paths::kProcBusPci, names);
    for (const std::string& name : names) {
        const bool isFar =
            name.find(':') != std::string::npos && !CPciAddress::Parse(name + ":00.0");
        if (isFar) {
            snapshot.Gaps.push_back(
                {"the PCI functions of bus " + name, "its domain does not fit 16 bits"});
        }
    }
}

void AddGaps(bool isCapture, Snapshot& snapshot) {
    if (!snapshot.Firmware.IsKnown) {
        snapshot.Firmware.Reason = ReasonOfNothing(isCapture);
        snapshot.Gaps.push_back(
            {"the firmware's tables, which name the slots", snapshot.Firmware.Reason});
    }
    if (snapshot.Functions.empty()) {
        snapshot.Gaps.push_back({"PCI functions", std::string("none in ") + paths::kProcBusPci});
    }
    AddFarDomains(snapshot);
    for (const CSystemDrive& drive : snapshot.Drives) {
        // Other drives have nobody who could be asked.
        if (!drive.m_Serial.IsKnown() && !drive.m_GenericNode.empty()) {
            snapshot.Gaps.push_back(
                {"the serial number of " + drive.m_Name, drive.m_Serial.Reason()});
        }
    }
}

bool CopyLists(CSystemDeviceScan& scan, Snapshot& snapshot) {
    const int adapterCount = scan.GetAdapterCount();
    for (int i = 0; i < adapterCount; ++i) {
        CSystemAdapter adapter;
        if (!scan.GetAdapter(adapter, i)) {
            return false;
        }
        snapshot.Adapters.push_back(std::move(adapter));
    }
    const int volumeCount = scan.GetVolumeCount();
    for (int i = 0; i < volumeCount; ++i) {
        CSystemVolume volume;
        if (!scan.GetVolume(volume, i)) {
            return false;
        }
        snapshot.Volumes.push_back(std::move(volume));
    }
    // The adapter with the invalid address stands for all of them. False is also "no drive".
    (void)scan.GetHostDrives(snapshot.Drives, CSystemAdapter());
    return true;
}

}  // namespace

bool TakeSnapshot(CSystemDeviceScan& scan, bool isCapture, Snapshot& snapshot) {
    snapshot = Snapshot();
    (void)scan.GetPciSlotConfig(snapshot.Functions);
    const bool isWhole = CopyLists(scan, snapshot);
    snapshot.SlotRows = ReadSlotRows();
    snapshot.Firmware = ReadFirmware();
    AddGaps(isCapture, snapshot);
    return isWhole;
}

}  // namespace inventory

// What the firmware's tables say of the machine as a whole: BIOS, system, board, chassis.
#pragma once

#include <string>
#include <vector>

#include "hardware/smbios.h"

namespace inventory {

struct FirmwareText {
    const char* Group;  // "bios", "system", "board", "chassis"
    const char* Name;   // "serial"
    std::string Text;   // the firmware's bytes; empty when it says nothing
};

struct FirmwareReport {
    bool IsKnown = false;  // whether there are tables
    std::string Reason;    // why there are none
    unsigned int Major = 0;
    unsigned int Minor = 0;
    bool IsComplete = false;  // the table does not break off
    std::vector<FirmwareText> Texts;
};

// Of the first structure of each kind.
[[nodiscard]] FirmwareReport ReportFirmware(const CSMBios& smbios, bool isComplete);
// The same of this machine.
[[nodiscard]] FirmwareReport ReadFirmware();

}  // namespace inventory

// The serial number and the world-wide name of a drive.
#pragma once

#include <string>

#include "hardware/scan_time.h"
#include "hardware/system_drive.h"

// What the drives of one scan may be asked, and what time is left for that.
struct DriveQuestions {
    // Effective options.
    explicit DriveQuestions(const _ScanOptions& options)
        : Options(options), Time(options.DrivesLimitMs) {}

    _ScanOptions Options;
    CScanTime Time;
};

// Fills m_Serial, m_SerialSource and m_Wwn, and for an ATA drive the whole of m_Model, from the
// kernel's own copies. A SCSI drive is asked itself for what they leave open, unless the options
// forbid it, the time is used up, it sleeps, it is not running, or it hangs on USB, where bridges
// are known to fall over such questions. `blockFolder` is the drive's in /sys, `deviceFolder` that
// of the device behind it; the rest of the drive is filled already.
void ReadDriveIdentity(CSystemDrive& drive, const std::string& blockFolder,
                       const std::string& deviceFolder, DriveQuestions& questions);

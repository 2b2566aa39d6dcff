// Finds the SMBIOS entry point and structure table through what the operating system offers.
#pragma once

#include "base/export.h"
#include "hardware/data_stream.h"

// Static operations only. Each fills `header` with the entry point and `data` with the structure
// table and returns true, or returns false and leaves both as they are. Safe in every thread.
class MORLA_API CBiosTables {
public:
    // The first of the three below that finds something.
    [[nodiscard]] static bool GetSmbiosData(CDataStream& header, CDataStream& data);

    // The kernel's copies. Neither anchor nor checksum is checked.
    [[nodiscard]] static bool GetAnySMBiosFromSysfs(CDataStream& header, CDataStream& data);
    // Physical memory at the address in the EFI system table: SMBIOS 3 first, then SMBIOS 2.
    [[nodiscard]] static bool GetAnySMBiosFromMemory(CDataStream& header, CDataStream& data);
    // The character device of an ESX hypervisor.
    [[nodiscard]] static bool GetBiosTableESX(CDataStream& header, CDataStream& data);
};

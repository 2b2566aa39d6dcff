// CBiosTables: the order of the sources, the kernel's copies, physical memory.
#include "hardware/bios_tables.h"

#include "base/paths.h"
#include "hardware/smbios_table_from_memory.h"
#include "trace/debug.h"

namespace {

unsigned int SizeOf(const CDataStream& stream) {
    return static_cast<unsigned int>(stream.Size());
}

bool GetFromReaders(CDataStream& header, CDataStream& data) {
    const smbios_tables::SMBiosTableFromMemoryV3 version3;
    if (version3.GetBiosData(header, data)) {
        return true;
    }
    Debug.Print(4, "\nCBiosTables::GetAnySMBiosFromMemory() No SMBios 3 in memory.");
    const smbios_tables::SMBiosTableFromMemoryV2 version2;
    if (version2.GetBiosData(header, data)) {
        return true;
    }
    Debug.Print(4, "\nCBiosTables::GetAnySMBiosFromMemory() No SMBios 2 in memory.");
    return false;
}

}  // namespace

bool CBiosTables::GetSmbiosData(CDataStream& header, CDataStream& data) {
    Debug.Print(5, "\nCBiosTables::GetSmbiosData() Start.");
    if (GetAnySMBiosFromSysfs(header, data)) {
        Debug.Print(5, "\nCBiosTables::GetSmbiosData() : Found in sysfs.");
        return true;
    }
    if (GetAnySMBiosFromMemory(header, data)) {
        Debug.Print(5, "\nCBiosTables::GetSmbiosData() : Found in memory.");
        return true;
    }
    if (GetBiosTableESX(header, data)) {
        Debug.Print(5, "\nCBiosTables::GetSmbiosData() : ESXi specific SMBios found.");
        return true;
    }
    Debug.Print(1, "\nCBiosTables::GetSmbiosData() : ERROR ## No SMBios found!");
    return false;
}

bool CBiosTables::GetAnySMBiosFromSysfs(CDataStream& header, CDataStream& data) {
    CDataStream foundHeader;
    if (!CDataStream::ReadFromFile(paths::kSmbiosEntryPoint, foundHeader) ||
        foundHeader.IsEmpty()) {
        Debug.Print(3, "\nCBiosTables::GetAnySMBiosFromSysfs() Could not read SMBios entry file.");
        return false;
    }
    CDataStream foundData;
    if (!CDataStream::ReadFromFile(paths::kSmbiosTable, foundData) || foundData.IsEmpty()) {
        Debug.Print(
            2, "\nCBiosTables::GetAnySMBiosFromSysfs() Could not read SMBios data table file.");
        return false;
    }
    if (foundHeader.IsEmpty() || foundData.IsEmpty()) {
        Debug.Print(2, "\nCBiosTables::GetAnySMBiosFromSysfs() : Invalid SMBios.");
        return false;
    }
    header = foundHeader;
    data = foundData;
    Debug.Print(2,
                "\nCBiosTables::GetAnySMBiosFromSysfs() Success : Header (%u) bytes, Data (%u) "
                "bytes",
                SizeOf(header), SizeOf(data));
    return true;
}

bool CBiosTables::GetAnySMBiosFromMemory(CDataStream& header, CDataStream& data) {
    CDataStream foundHeader;
    CDataStream foundData;
    if (!GetFromReaders(foundHeader, foundData)) {
        return false;
    }
    Debug.Print(2,
                "\nCBiosTables::GetAnySMBiosFromMemory() : Read SMBios header (%u) bytes, data "
                "(%u) bytes",
                SizeOf(foundHeader), SizeOf(foundData));
    if (foundHeader.IsEmpty() || foundData.IsEmpty()) {
        Debug.Print(4, "\nCBiosTables::GetAnySMBiosFromMemory() Failed.");
        return false;
    }
    header = foundHeader;
    data = foundData;
    Debug.Print(4, "\nCBiosTables::GetAnySMBiosFromMemory() Success.");
    return true;
}

#include "hardware/smbios_table_from_memory.h"

#include <fcntl.h>

#include <cerrno>
#include <string>

#include "base/cancellation.h"
#include "base/error_text.h"
#include "base/kernel_file.h"
#include "base/paths.h"
#include "base/unique_fd.h"
#include "hardware/memory_device.h"
#include "hardware/systab_text.h"
#include "trace/debug.h"

namespace smbios_tables {

namespace {

// Reads the first of the two files that there is; null when there is none.
const char* ReadSystab(std::string& text) {
    for (const char* const path : {paths::kEfiSystab, paths::kProcEfiSystab}) {
        const int error = ReadKernelFile(path, text);
        if (error == 0) {
            return path;
        }
        Debug.Print(4, "\nSMBiosTableFromMemory::GetUEFIAddress() : Couldn't open '%s' : %s", path,
                    CErrorText(error).Get());
    }
    return nullptr;
}

// Copies `length` bytes at the physical `address` out of the memory device.
bool CopyFromDevice(int device, std::uint64_t address, std::size_t length, CDataStream& out) {
    const std::uint64_t offset = PageOffset(address);
    CFileMapping mapping;
    const int error =
        length <= CDataStream::kFileMax
            ? MapDeviceRange(device, address - offset, length + offset, false, mapping)
            : EFBIG;
    if (error != 0) {
        Debug.Print(1,
                    "\nSMBiosTableFromMemory::GetBiosData() : ERROR # mmap failed : (errno=%d) %s",
                    error, CErrorText(error).Get());
        return false;
    }
    out = CDataStream(reinterpret_cast<const unsigned char*>(mapping.Data()) + offset, length);
    return true;
}

}  // namespace

template <typename EntryPoint>
SMBiosTableFromMemory<EntryPoint>::SMBiosTableFromMemory() {
    Debug.Print(5, "\nSMBiosTableFromMemory::Ctor() : Done.");
}

template <typename EntryPoint>
SMBiosTableFromMemory<EntryPoint>::~SMBiosTableFromMemory() {
    const CCancellationHold hold;
    Debug.Print(5, "\nSMBiosTableFromMemory::Dtor() : Done.");
}

template <typename EntryPoint>
std::uint64_t SMBiosTableFromMemory<EntryPoint>::GetUEFIAddress() const {
    const char* const key = GetVersionString();
    std::string text;
    const char* const path = ReadSystab(text);
    if (path == nullptr) {
        Debug.Print(3, "\nSMBiosTableFromMemory::GetUEFIAddress() : Failed.");
        return 0;
    }
    Debug.Print(3,
                "\nSMBiosTableFromMemory::GetUEFIAddress() : UEFI interface detected: try to get "
                "%s address info from '%s'",
                key, path);
    const std::uint64_t address = FindSystabAddress(text, key);
    if (address != 0) {
        Debug.Print(3, "\nSMBiosTableFromMemory::GetUEFIAddress() : %s address found : %#016lx",
                    key, address);
    } else {
        Debug.Print(1, "\nSMBiosTableFromMemory::GetUEFIAddress() : %s address NOT found!", key);
    }
    return address;
}

template <typename EntryPoint>
bool SMBiosTableFromMemory<EntryPoint>::GetBiosData(CDataStream& header, CDataStream& data) const {
    Debug.Print(5, "\nSMBiosTableFromMemory::GetBiosData() : Start.");
    const std::uint64_t address = GetUEFIAddress();
    if (address == 0) {
        Debug.Print(2, "\nSMBiosTableFromMemory::GetBiosData() : SMBios address not found. Abort.");
        return false;
    }
    const CUniqueFd device(open(paths::kMemoryDevice, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    const int error = errno;
    if (!device.IsValid()) {
        Debug.Print(1, "\nSMBiosTableFromMemory::GetBiosData() : ERROR # Couldn't open %s : %s",
                    paths::kMemoryDevice, CErrorText(error).Get());
        return false;
    }
    Debug.Print(3,
                "\nSMBiosTableFromMemory::GetBiosData() : Map SMBios header (address=0x%016lx, "
                "size=0x%016lx, offset=0x%016lx)",
                address, HeaderSize(), PageOffset(address));
    CDataStream foundHeader;
    CDataStream foundData;
    if (!CopyFromDevice(device.Get(), address, HeaderSize(), foundHeader) ||
        !ReadTable(device.Get(), foundHeader.View(), foundData)) {
        return false;
    }
    if (foundHeader.IsEmpty() || foundData.IsEmpty()) {
        Debug.Print(2,
                    "\nSMBiosTableFromMemory::GetBiosData() : SMBios table NOT found in memory.");
        return false;
    }
    header = foundHeader;
    data = foundData;
    Debug.Print(4, "\nSMBiosTableFromMemory::GetBiosData() : SMBios table found in memory.");
    return true;
}

// False when the mapping failed. An entry point that gives no table leaves `data` empty.
template <typename EntryPoint>
bool SMBiosTableFromMemory<EntryPoint>::ReadTable(int device, CByteView header,
                                                  CDataStream& data) const {
    EntryPoint entryPoint{};
    const EntryPoint* const found = header.Copy(0, entryPoint) ? &entryPoint : nullptr;
    const std::uint64_t address = GetDataAddress(found);
    const std::uint64_t length = GetDataLength(found);
    if (address == 0 || length == 0) {
        Debug.Print(1,
                    "\nSMBiosTableFromMemory::GetBiosData() : ERROR # Couldn't parse SMBios "
                    "header! (address=0x%016lx, size=0x%016lx)",
                    address, length);
        return true;
    }
    Debug.Print(3,
                "\nSMBiosTableFromMemory::GetBiosData() : Map SMBios data table "
                "(address=0x%016lx, size=0x%016lx, offset=0x%016lx)",
                address, length, PageOffset(address));
    return CopyFromDevice(device, address, length, data);
}

template class SMBiosTableFromMemory<_DMI_30_EPS>;
template class SMBiosTableFromMemory<_DMI_21_EPS>;

}  // namespace smbios_tables

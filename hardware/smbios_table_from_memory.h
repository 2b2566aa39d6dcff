// Readers of the SMBIOS tables in physical memory, at the address that the EFI system table gives.
//
// One reader for each layout of the entry point. None of them checks anchor, checksum or version.
#pragma once

#include <cstdint>

#include "hardware/data_stream.h"
#include "hardware/dmi_records.h"

namespace smbios_tables {

// Belongs to one thread at a time.
template <typename EntryPoint>
class SMBiosTableFromMemory {
public:
    SMBiosTableFromMemory();
    SMBiosTableFromMemory(const SMBiosTableFromMemory&) = delete;
    SMBiosTableFromMemory& operator=(const SMBiosTableFromMemory&) = delete;
    virtual ~SMBiosTableFromMemory();

    // The bytes of the entry point that are read.
    [[nodiscard]] virtual unsigned long HeaderSize() const = 0;
    // The entry point's key in the EFI system table.
    [[nodiscard]] virtual const char* GetVersionString() const = 0;
    // Bytes of the table, and its physical address; 0 for a null header.
    [[nodiscard]] virtual std::uint32_t GetDataLength(const EntryPoint* header) const = 0;
    [[nodiscard]] virtual std::uint64_t GetDataAddress(const EntryPoint* header) const = 0;

    // The entry point's physical address by the EFI system table, 0 when it does not say.
    [[nodiscard]] std::uint64_t GetUEFIAddress() const;
    // Copies entry point and table. False, with both unchanged, on any failure.
    [[nodiscard]] bool GetBiosData(CDataStream& header, CDataStream& data) const;

private:
    [[nodiscard]] bool ReadTable(int device, CByteView header, CDataStream& data) const;
};

class SMBiosTableFromMemoryV3 final : public SMBiosTableFromMemory<_DMI_30_EPS> {
public:
    [[nodiscard]] unsigned long HeaderSize() const override { return sizeof(_DMI_30_EPS); }
    [[nodiscard]] const char* GetVersionString() const override { return "SMBIOS3"; }
    [[nodiscard]] std::uint32_t GetDataLength(const _DMI_30_EPS* header) const override {
        return header != nullptr ? header->TableMaximumSize : 0;
    }
    [[nodiscard]] std::uint64_t GetDataAddress(const _DMI_30_EPS* header) const override {
        return header != nullptr ? header->TableAddress : 0;
    }
};

class SMBiosTableFromMemoryV2 final : public SMBiosTableFromMemory<_DMI_21_EPS> {
public:
    [[nodiscard]] unsigned long HeaderSize() const override { return sizeof(_DMI_21_EPS); }
    [[nodiscard]] const char* GetVersionString() const override { return "SMBIOS"; }
    [[nodiscard]] std::uint32_t GetDataLength(const _DMI_21_EPS* header) const override {
        return header != nullptr ? header->TableLength : 0;
    }
    [[nodiscard]] std::uint64_t GetDataAddress(const _DMI_21_EPS* header) const override {
        return header != nullptr ? header->TableAddress : 0;
    }
};

extern template class SMBiosTableFromMemory<_DMI_30_EPS>;
extern template class SMBiosTableFromMemory<_DMI_21_EPS>;

}  // namespace smbios_tables

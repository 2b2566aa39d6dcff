// The connection to the machine's SMBIOS tables: finds them, copies them, indexes their structures.
//
// Files of the class: smbios (connection, revision, structure list), smbios_shadow (the search in
// the BIOS shadow memory). Sources: bios_tables.h. Rules of the walk: smbios_walk.h.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/export.h"
#include "hardware/data_stream.h"
#include "hardware/device_bios.h"
#include "hardware/dmi_records.h"
#include "hardware/smbios_entry_point.h"
#include "hardware/smbios_walk.h"

// Belongs to one thread at a time. Pointers to structures point into the table's copy and are valid
// until the next Connect or Disconnect. No operation throws for a bad table.
class MORLA_API CSMBios {
public:
    // The structures of one type, in the order of the table.
    using StructureList = std::vector<const _DMI_20_HEADER*>;

    // The longest that an entry point says it is, in bytes.
    static constexpr unsigned long kEntryPointMax = 255;

    CSMBios() = default;
    CSMBios(const CSMBios&) = delete;
    CSMBios& operator=(const CSMBios&) = delete;
    ~CSMBios() = default;

    // Finds the tables of this machine and builds the structure list. False when that fails; then
    // GetLastError may say why, and the list may hold the structures before the fault.
    [[nodiscard]] bool Connect();
    // The same with tables that were read elsewhere.
    [[nodiscard]] bool ConnectCopy(const CDataStream& header, const CDataStream& data);
    void Disconnect();

    [[nodiscard]] const CDataStream& GetHeader() const { return m_Header; }
    [[nodiscard]] const CDataStream& GetData() const { return m_Data; }
    [[nodiscard]] const std::string& GetLastError() const { return m_LastError; }
    [[nodiscard]] smbios_tables::Revision GetRevision() const { return m_Revision; }
    // As the entry point gives it on the shadow-memory path, else as buildStructureList counts: one
    // too many when anything stands behind the structure of type 127.
    [[nodiscard]] std::uint64_t GetStructureCount() const { return m_StructureCount; }

    // The structures of a type; empty when there is none.
    [[nodiscard]] const StructureList& GetStructures(std::uint8_t type) const;
    // Deliberate: the number of structures of a type in 8 bits, so none of 256 and one of 257.
    [[nodiscard]] std::uint8_t GetCountOfType(std::uint8_t type) const;
    // The byte at `offset` of a structure, whatever its length says; none behind the table's end.
    [[nodiscard]] std::optional<std::uint8_t> FindByte(const _DMI_20_HEADER* structure,
                                                       std::size_t offset) const;
    // String `number`, counted from 1, of a structure's set; none when the set has no such one.
    // Points into the table's copy and may hold any bytes.
    [[nodiscard]] std::optional<std::string_view> FindString(const _DMI_20_HEADER* structure,
                                                             std::uint8_t number) const;

    // Reads an SMBIOS 2.1 entry point of which `readable` bytes can be read, and remembers its
    // structure count. True, with its bytes in `header`, when its checksum is right. The table's
    // physical address and length (bytes) are set whenever the entry point is whole.
    [[nodiscard]] bool checkSmbiosHeader(const unsigned char* entryPoint,
                                         unsigned int& tableAddress, unsigned long& tableLength,
                                         CDataStream& header,
                                         unsigned long readable = kEntryPointMax);
    // Searches physical memory E0000 to FFFFF. False, with both buffers unchanged and the last
    // error set, on any failure.
    [[nodiscard]] bool getSmbiosDataFromBiosShadowMemory(CDataStream& header, CDataStream& data);
    void setSmbiosRevisionFromHeader();
    // Indexes the structures of the table. False, with the last error set, when the table breaks
    // off; the structures before that stay in the index.
    [[nodiscard]] bool buildStructureList();

private:
    void Clear();
    [[nodiscard]] CByteView TableFrom(const _DMI_20_HEADER* structure) const;
    void SetLastError(const char* format, ...) __attribute__((format(printf, 2, 3)));
    bool FinishConnect();
    void AddStructure(const smbios_tables::Structure& structure, std::size_t index);
    void TraceStrings(const smbios_tables::Structure& structure) const;
    bool RefuseTable(smbios_tables::WalkStep step, const smbios_tables::Structure& structure,
                     std::size_t index);
    void CheckCount(std::size_t index);
    bool ReadShadow(CDeviceBios& bios, CDataStream& header, CDataStream& data);
    bool ScanForSignature(CByteView range, unsigned int& tableAddress, unsigned long& tableLength,
                          CDataStream& header);

    CDataStream m_Header;
    CDataStream m_Data;
    std::map<std::uint8_t, StructureList> m_Structures;  // into m_Data
    std::uint64_t m_StructureCount = 0;                  // 0: not known yet
    std::string m_LastError;
    smbios_tables::Revision m_Revision;
};

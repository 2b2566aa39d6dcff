// The slot table: rows of SMBIOS structures (DMTF DSP0134, 7.10 System Slots, 7.42 Onboard Devices
// Extended Information).
#include <array>
#include <optional>

#include "hardware/pci_slot_table.h"
#include "trace/debug.h"

namespace pci_slots {

namespace {

constexpr std::uint8_t kSystemSlots = 9;
constexpr std::uint8_t kOnboardDevices = 41;
constexpr std::size_t kDesignationAt = 0x04;  // number of a string, in both types
constexpr unsigned int kDeviceShift = 3;      // a device above its function, in one byte

// The bytes at fixed offsets, whatever the structure's length says; none when the table ends first.
template <std::size_t N>
std::optional<std::array<std::uint8_t, N>> FindBytes(const CSMBios& smbios,
                                                     const _DMI_20_HEADER* structure,
                                                     const std::array<std::size_t, N>& offsets) {
    std::array<std::uint8_t, N> bytes{};
    for (std::size_t i = 0; i < N; ++i) {
        const std::optional<std::uint8_t> byte = smbios.FindByte(structure, offsets[i]);
        if (!byte) {
            Debug.Print(1,
                        "\nCPciSlotMap::GetSlotMappingFromSMBIOS(): Skip structure type %d "
                        "(handle=%d), the table ends before its offset 0x%02X",
                        structure->Type, structure->Handle, static_cast<unsigned int>(offsets[i]));
            return std::nullopt;
        }
        bytes[i] = *byte;
    }
    return bytes;
}

// `neededLength`: of the formatted area, so that it holds all of the offsets.
StructureOrigin OriginOf(const CSMBios& smbios, const _DMI_20_HEADER* structure,
                         std::size_t neededLength) {
    StructureOrigin origin;
    origin.Type = structure->Type;
    origin.Handle = structure->Handle;
    origin.IsTooShort = structure->Length < neededLength;
    if (structure->Length > kDesignationAt) {
        const std::uint8_t number = smbios.FindByte(structure, kDesignationAt).value_or(0);
        origin.Designation = smbios.FindString(structure, number).value_or("");
    }
    return origin;
}

std::optional<Row> ReadSystemSlot(const CSMBios& smbios, const _DMI_20_HEADER* structure) {
    const auto bytes = FindBytes<5>(smbios, structure, {0x0F, 0x07, 0x10, 0x09, 0x05});
    if (!bytes) {
        return std::nullopt;
    }
    const auto [bus, usage, deviceFunction, slot, type] = *bytes;
    if (bus == PciSlotData::kNoBus) {
        Debug.Print(5,
                    "\nCPciSlotMap::GetSlotMappingFromSMBIOS(): Ignore unavailable slot with bus "
                    "number 0xFF...\n");
        return std::nullopt;
    }
    Debug.Print(5, "\nCPciSlotMap::GetPciSlotNumber() : CurrentUsage status - %x for bus - %x.",
                usage, bus);
    if (usage == PciSlotData::kUsageUnavailable) {
        Debug.Print(3,
                    "\nCPciSlotMap::GetSlotMappingFromSMBIOS(): Ignore riser-unavailable slot with "
                    "Current Usage status - Unavaiable ...\n");
        return std::nullopt;
    }
    Row row;
    row.Data = {bus, static_cast<std::uint8_t>(deviceFunction >> kDeviceShift), slot, type, usage};
    row.From = Source::kSystemSlot;
    row.Structure = OriginOf(smbios, structure, 0x10 + 1);
    row.Structure.Slot = slot;
    if (Debug.IsLevelActive(2)) {
        Debug.Print(2, "\nCPciSlotMap::GetSlotMappingFromSMBIOS() : Add system slot device - %s.",
                    row.Data.ToString().c_str());
    }
    return row;
}

std::optional<Row> ReadOnboardDevice(const CSMBios& smbios, const _DMI_20_HEADER* structure) {
    const auto bytes = FindBytes<2>(smbios, structure, {0x09, 0x0A});
    if (!bytes) {
        return std::nullopt;
    }
    const auto [bus, deviceFunction] = *bytes;
    Row row;
    row.Data.m_Bus = bus;
    row.Data.m_Device = static_cast<std::uint8_t>(deviceFunction >> kDeviceShift);
    row.From = Source::kOnboardDevice;
    row.Structure = OriginOf(smbios, structure, 0x0A + 1);
    if (Debug.IsLevelActive(2)) {
        Debug.Print(2, "\nCPciSlotMap::GetSlotMappingFromSMBIOS() : Add onboard device - %s.",
                    row.Data.ToString().c_str());
    }
    return row;
}

// Deliberate: no more structures than the 8-bit count of their type, so none of 256. Returns
// whether there was one to look at.
template <typename Reader>
bool AddRows(std::vector<Row>& rows, const CSMBios& smbios, std::uint8_t type, Reader read) {
    const std::uint8_t count = smbios.GetCountOfType(type);
    for (std::uint8_t i = 0; i < count; ++i) {
        if (std::optional<Row> row = read(smbios, smbios.GetStructures(type)[i])) {
            rows.push_back(*row);
        }
    }
    return count != 0;
}

}  // namespace

std::vector<Row> RowsOfSmbios(const CSMBios& smbios) {
    std::vector<Row> rows;
    if (!AddRows(rows, smbios, kSystemSlots, ReadSystemSlot)) {
        Debug.Print(4,
                    "\nCPciSlotMap::GetSlotMappingFromSMBIOS(): No System Slots (Type 9) "
                    "entries.\n");
    }
    if (!AddRows(rows, smbios, kOnboardDevices, ReadOnboardDevice)) {
        Debug.Print(4,
                    "\nCPciSlotMap::GetSlotMappingFromSMBIOS(): No Onboard Devices Extended "
                    "Information (Type 41) entries.\n");
    }
    return rows;
}

}  // namespace pci_slots

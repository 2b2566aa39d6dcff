// Bytes of slot descriptions and of PCI functions for tests.
#pragma once

#include <string>
#include <vector>

#include "hardware/irq_routing_table.h"
#include "hardware/pci_slot_row.h"
#include "tests/hardware/smbios_bytes.h"

namespace pci_bytes {

// The same table with another size in its header, and with a checksum over that.
inline std::string WithSize(std::string table, std::uint16_t size) {
    table.replace(6, sizeof size, smbios_bytes::Bytes(size));
    return smbios_bytes::WithChecksum(table, size < 32 ? 0x0F : 0x1F, size);
}

inline std::string RoutingTable(const std::vector<IrqRoutingEntry>& entries) {
    std::string table = "$PIR" + std::string(28, '\0');
    table[5] = 1;
    for (const IrqRoutingEntry& entry : entries) {
        table += smbios_bytes::Bytes(entry);
    }
    return WithSize(table, static_cast<std::uint16_t>(table.size()));
}

// A structure of type 9, handle 0x0900, designation "PCIE".
inline std::string SystemSlot(const PciSlotData& row, std::uint8_t length = 17) {
    std::string bytes = smbios_bytes::Structure(9, 17, 0x0900);
    bytes.resize(17);
    bytes[1] = static_cast<char>(length);
    bytes[4] = 1;
    bytes[0x05] = static_cast<char>(row.m_SlotType);
    bytes[0x07] = static_cast<char>(row.m_CurrentUsage);
    bytes[0x09] = static_cast<char>(row.m_Slot);
    bytes[0x0F] = static_cast<char>(row.m_Bus);
    bytes[0x10] = static_cast<char>(row.m_Device << 3);
    bytes.resize(length);
    return bytes + "PCIE" + std::string(2, '\0');
}

// The first 64 bytes of a function; a bridge when it has a bus behind it.
inline std::string Function(std::uint16_t vendor, std::uint8_t secondaryBus = 0) {
    std::string bytes(64, '\0');
    bytes.replace(0, 2, smbios_bytes::Bytes(vendor));
    bytes[2] = 1;
    if (secondaryBus != 0) {
        bytes[0x0E] = 1;
        bytes[0x19] = static_cast<char>(secondaryBus);
    }
    return bytes;
}

}  // namespace pci_bytes

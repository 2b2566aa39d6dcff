// CDeviceBiosBase: the PCI IRQ routing table in the BIOS segment.
#include "hardware/data_stream.h"
#include "hardware/device_bios.h"
#include "trace/debug.h"

namespace {

constexpr unsigned int kBiosAddress = 0xF0000;
constexpr unsigned long kBiosLength = 0x10000;

void TraceTable(const irq_routing::Table& table) {
    Debug.Print(
        4,
        "\nCDeviceBiosBase::GetRoutingTable   : table at 0x%05X, version %d.%d, size %d, %d "
        "entries, checksum %02X",
        kBiosAddress + static_cast<unsigned int>(table.Offset), table.MajorVersion,
        table.MinorVersion, table.Size, static_cast<int>(table.Entries.size()), table.Checksum);
    if (!Debug.IsLevelActive(5)) {
        return;
    }
    int index = 0;
    for (const IrqRoutingEntry& entry : table.Entries) {
        std::string dump;
        CDataStream::DumpHex(dump, reinterpret_cast<const unsigned char*>(&entry), sizeof entry,
                             false, false, sizeof entry, 1, nullptr);
        Debug.Print(5, "\n[%02d] %s", index++, dump.c_str());
    }
}

void TraceResult(irq_routing::Result result, const irq_routing::Table& table) {
    using irq_routing::Result;
    switch (result) {
    case Result::kFound: TraceTable(table); break;
    case Result::kNotFound: break;
    case Result::kIllegalSize:
        Debug.Print(
            1,
            "\nCDeviceBiosBase::GetRoutingTable   : ## ERROR! Illegal table size in PCI IRQ "
            "Routing Table (%d)\n",
            table.Size);
        break;
    case Result::kUnevenSize:
        Debug.Print(1,
                    "\nCDeviceBiosBase::GetRoutingTable   : ## ERROR! PCI IRQ Routing Table size "
                    "modulo sizeof (IRQ_ROUTING_TABLE_ENTRY) is not zero (%d)\n",
                    table.Size);
        break;
    case Result::kIllegalVersion:
        Debug.Print(
            1,
            "\nCDeviceBiosBase::GetRoutingTable   : ## ERROR! Illegal version number in PCI "
            "IRQ Routing Table (%d.%d)\n",
            table.MajorVersion, table.MinorVersion);
        break;
    case Result::kIllegalChecksum:
        Debug.Print(1,
                    "\nCDeviceBiosBase::GetRoutingTable   : ## ERROR! Illegal checksum in PCI IRQ "
                    "Routing Table (%02X)\n",
                    table.Checksum);
        break;
    }
}

}  // namespace

std::vector<IrqRoutingEntry> CDeviceBiosBase::GetRoutingTable() {
    Debug.Print(4, "\nCDeviceBiosBase::GetRoutingTable   : Get PCI slot mapping table");
    const unsigned char* const memory = MapPhysicalMemory(0, kBiosAddress, kBiosLength, false);
    if (memory == nullptr) {
        Debug.Print(
            1,
            "\nCDeviceBiosBase::GetRoutingTable   : ERROR! Could not map physical memory at "
            "0x%05X",
            kBiosAddress);
        return {};
    }
    const CDataStream copy(memory, kBiosLength);
    UnmapPhysicalMemory();
    irq_routing::Table table;
    const irq_routing::Result result = irq_routing::Parse(copy.View(), table);
    TraceResult(result, table);
    return table.Entries;
}

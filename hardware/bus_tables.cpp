// The bus tables: C++ records turned into the rows of C. No exception leaves a function.
#include "hardware/bus_tables.h"

#include <charconv>
#include <cstdlib>
#include <iterator>
#include <optional>

#include "hardware/adapter_ports.h"
#include "hardware/bus_table_builder.h"
#include "hardware/isa_resources.h"
#include "hardware/mount_table.h"
#include "hardware/pci_config_list.h"
#include "hardware/pci_names.h"

namespace {

using PciBuilder = CBusTableBuilder<_QalbPciTable, _QalbPciSlot>;
using IsaBuilder = CBusTableBuilder<_QalbIsaTable, _QalbIsaSlot>;
using MacBuilder = CBusTableBuilder<_QalbMacTable, _QalbMacInformation>;
using MountBuilder = CBusTableBuilder<_QalbMountTable, _QalbMountedFileSystem>;

// Calls `fill`, and turns running out of memory into a number.
template <typename Table, typename Fill>
int Build(Table** table, Fill fill) {
    if (table == nullptr) {
        return EINVAL;
    }
    *table = nullptr;
    try {
        return fill(table);
    } catch (const std::bad_alloc&) {
        return ENOMEM;
    }
}

void AddPciRow(PciBuilder& builder, const CPciSlotData& function, CPciNameReader& names) {
    constexpr std::uint16_t kNone = 0xFFFF;
    const CPciCommonConfigHeader& header = function.m_Header;
    _QalbPciSlot& row = builder.AddRow();
    row.Segment = function.m_Address.m_Segment;
    row.Bus = function.m_Address.m_Bus;
    row.Device = function.m_Address.m_Device;
    row.Function = function.m_Address.m_Function;
    row.HeaderType = header.m_HeaderType;
    row.Revision = header.m_RevisionId;
    row.BaseClass = header.m_BaseClass;
    row.SubClass = header.m_SubClass;
    row.Interface = header.m_ProgrammingInterface;
    row.VendorId = header.m_VendorId;
    row.DeviceId = header.m_DeviceId;
    row.SubsystemVendorId = header.SubsystemVendorId();
    row.SubsystemId = header.SubsystemId();
    row.SlotNumber = function.m_SlotNumber;
    std::optional<PciSubsystemId> subsystem;
    if (row.SubsystemVendorId != 0 && row.SubsystemVendorId != kNone) {
        subsystem = {row.SubsystemVendorId, row.SubsystemId};
    }
    const PciNames found = names.Read(header, subsystem);
    builder.SetText(&_QalbPciSlot::Name, found.Device.Text);
    builder.SetText(&_QalbPciSlot::VendorName, found.Vendor.Text);
    builder.SetText(&_QalbPciSlot::SlotDesignation, function.m_SlotDesignation);
    builder.SetText(&_QalbPciSlot::SlotReason, function.m_SlotReason);
}

std::uint32_t KindOf(ResourceKind kind) {
    switch (kind) {
    case ResourceKind::kIoPorts: return QALB_RESOURCE_PORTS;
    case ResourceKind::kMemory: return QALB_RESOURCE_MEMORY;
    case ResourceKind::kIrq: return QALB_RESOURCE_IRQ;
    case ResourceKind::kDma: return QALB_RESOURCE_DMA;
    }
    return QALB_RESOURCE_NONE;
}

void AddPnpRow(IsaBuilder& builder, const isa::PnpDevice& device,
               const ResourceDescriptor* resource) {
    _QalbIsaSlot& row = builder.AddRow();
    row.Source = QALB_SOURCE_PNP;
    if (resource != nullptr) {
        row.Kind = KindOf(resource->Kind);
        row.First = resource->First;
        row.Last = resource->Last;
    }
    builder.SetText(&_QalbIsaSlot::Owner, device.Driver.value_or(""));
    builder.SetText(&_QalbIsaSlot::Device, device.Name);
    builder.SetText(&_QalbIsaSlot::PnpIds, device.Ids);
}

int BuildIsaTable(_QalbIsaTable** table) {
    IsaBuilder builder;
    std::vector<isa::PortRange> ranges;
    const int error = isa::ReadIoPorts(ranges);
    const std::vector<isa::PnpDevice> devices = isa::ReadPnpDevices();
    if (error != 0 && devices.empty()) {
        return error;
    }
    for (const isa::PortRange& range : ranges) {
        _QalbIsaSlot& row = builder.AddRow();
        row.Source = QALB_SOURCE_IOPORTS;
        row.Kind = QALB_RESOURCE_PORTS;
        row.First = range.First;
        row.Last = range.Last;
        row.Depth = range.Depth;
        builder.SetText(&_QalbIsaSlot::Owner, range.Owner);
    }
    for (const isa::PnpDevice& device : devices) {
        for (const ResourceDescriptor& resource : device.Resources) {
            AddPnpRow(builder, device, &resource);
        }
        if (device.Resources.empty()) {
            AddPnpRow(builder, device, nullptr);
        }
    }
    return builder.Finish(table,
                          {&_QalbIsaSlot::Owner, &_QalbIsaSlot::Device, &_QalbIsaSlot::PnpIds});
}

// The bytes of "02:fc:00:00:00:01". False, with `row` half filled, for any other text.
bool ParseMacAddress(std::string_view text, _QalbMacInformation& row) {
    constexpr int kHexadecimal = 16;
    constexpr std::size_t kDigits = 2;
    while (row.AddressLength < std::size(row.Address)) {
        const char* const end = text.data() + std::min(kDigits, text.size());
        const auto [next, error] =
            std::from_chars(text.data(), end, row.Address[row.AddressLength], kHexadecimal);
        if (error != std::errc() || next != text.data() + kDigits) {
            return false;
        }
        ++row.AddressLength;
        text.remove_prefix(kDigits);
        if (text.empty() || text.front() != ':') {
            return text.empty();
        }
        text.remove_prefix(1);
    }
    return false;
}

void AddMacRow(MacBuilder& builder, const OnPci<NetworkInterface>& interface) {
    _QalbMacInformation read{};
    if (!interface.Value.MacAddress || !ParseMacAddress(*interface.Value.MacAddress, read)) {
        return;
    }
    read.IsOwnAddress = interface.Value.IsOwnMacAddress
                            ? static_cast<std::int32_t>(*interface.Value.IsOwnMacAddress)
                            : -1;
    read.IsVirtual = interface.Value.IsVirtual ? 1 : 0;
    if (interface.Address) {
        read.IsOnPci = 1;
        read.Segment = interface.Address->m_Segment;
        read.Bus = interface.Address->m_Bus;
        read.Device = interface.Address->m_Device;
        read.Function = interface.Address->m_Function;
    }
    builder.AddRow() = read;
    builder.SetText(&_QalbMacInformation::Name, interface.Value.Name);
    builder.SetText(&_QalbMacInformation::State, interface.Value.State.value_or(""));
}

}  // namespace

int QalbScanPciSlots(_QalbPciTable** table) {
    return Build(table, [](_QalbPciTable** made) {
        CPciConfigList functions;
        if (!CPciConfigList::ScanPciSlots(functions, true)) {
            return ENODEV;
        }
        PciBuilder builder;
        CPciNameReader names;
        for (const auto& [address, function] : functions) {
            AddPciRow(builder, function, names);
        }
        return builder.Finish(made, {&_QalbPciSlot::Name, &_QalbPciSlot::VendorName,
                                     &_QalbPciSlot::SlotDesignation, &_QalbPciSlot::SlotReason});
    });
}

int QalbScanIsaSlots(_QalbIsaTable** table) {
    return Build(table, BuildIsaTable);
}

int QalbBusGetMACInformation(_QalbMacTable** table) {
    return Build(table, [](_QalbMacTable** made) {
        MacBuilder builder;
        for (const OnPci<NetworkInterface>& interface : ReadNetworkInterfaces()) {
            AddMacRow(builder, interface);
        }
        return builder.Finish(made, {&_QalbMacInformation::Name, &_QalbMacInformation::State});
    });
}

int QalbBusGetMountedFileSystems(_QalbMountTable** table) {
    return Build(table, [](_QalbMountTable** made) {
        std::vector<mounts::Entry> entries;
        const int error = mounts::ReadMountTable(entries);
        if (error != 0) {
            return error;
        }
        using Row = _QalbMountedFileSystem;
        MountBuilder builder;
        for (const mounts::Entry& entry : entries) {
            builder.AddRow();
            builder.SetText(&Row::Device, entry.Device);
            builder.SetText(&Row::MountPoint, entry.MountPoint);
            builder.SetText(&Row::Type, entry.Type);
            builder.SetText(&Row::Options, entry.Options);
        }
        return builder.Finish(made, {&Row::Device, &Row::MountPoint, &Row::Type, &Row::Options});
    });
}

int QalbBusBuildTables(_QalbBusTables** table) {
    if (table == nullptr) {
        return EINVAL;
    }
    *table = static_cast<_QalbBusTables*>(std::calloc(1, sizeof **table));
    if (*table == nullptr) {
        return ENOMEM;
    }
    (*table)->PciError = QalbScanPciSlots(&(*table)->Pci);
    (*table)->IsaError = QalbScanIsaSlots(&(*table)->Isa);
    (*table)->MacError = QalbBusGetMACInformation(&(*table)->Mac);
    (*table)->MountsError = QalbBusGetMountedFileSystems(&(*table)->Mounts);
    return 0;
}

void QalbBusFree(void* table) {
    std::free(table);
}

void QalbBusFreeTables(_QalbBusTables* table) {
    if (table != nullptr) {
        QalbBusFree(table->Pci);
        QalbBusFree(table->Isa);
        QalbBusFree(table->Mac);
        QalbBusFree(table->Mounts);
        std::free(table);
    }
}

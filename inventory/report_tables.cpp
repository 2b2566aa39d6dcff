// The tables of the report, one for each section.
#include "inventory/report.h"
#include "inventory/report_text.h"
#include "inventory/text_layout.h"

namespace inventory {

namespace {

using Lines = std::vector<std::string>;

void Append(Lines& lines, const char* title, const CTextTable& table) {
    if (!lines.empty()) {
        lines.emplace_back();
    }
    lines.emplace_back(title);
    const Lines added = table.HasRows() ? table.Lines() : Lines{"none"};
    lines.insert(lines.end(), added.begin(), added.end());
}

// "SMBIOS 9, 0x0901"
std::string ShowSource(const Json& row) {
    if (row["handle"].is_null()) {
        return "IRQ routing";
    }
    return Join({"SMBIOS", Show(row, "smbios_type") + ",",
                 HexNumber(row["handle"].get<std::uint64_t>(), 4)},
                " ");
}

void ListSlots(Lines& lines, const Json& slots, bool withReasons) {
    CTextTable functions({"ADDRESS", "IDS", "CLASS", "SLOT", "DESIGNATION", "NAME"});
    for (const Json& function : slots["functions"]) {
        functions.AddRow({Show(function, "address"),
                          Show(function, "vendor_id") + ":" + Show(function, "device_id"),
                          Show(function, "class"), Show(function, "slot"),
                          Show(function, "slot_designation"),
                          Join({Show(function, "vendor_name"), Show(function, "name")}, " ")});
        if (withReasons) {
            functions.AddNote(Show(function, "reason"));
        }
    }
    Append(lines, "PCI FUNCTIONS AND THEIR SLOTS", functions);
    CTextTable rows({"SLOT", "DESIGNATION", "BUS", "DEVICE", "TYPE", "USAGE", "SOURCE", "REMARK"});
    for (const Json& row : slots["rows"]) {
        rows.AddRow({Show(row, "slot"), Show(row, "slot_designation"), Show(row, "bus"),
                     Show(row, "device"), Show(row, "slot_type"), Show(row, "usage"),
                     ShowSource(row), Show(row, "unreliable")});
    }
    Append(lines, "SLOTS AS THE FIRMWARE DESCRIBES THEM", rows);
}

std::string ShowPorts(const Json& adapter) {
    std::vector<std::string> ports = {ShowList(adapter["interfaces"])};
    for (const Json& host : adapter["scsi_hosts"]) {
        ports.push_back("host" + Show(host, "number"));
    }
    return Join(ports, " ");
}

// Network interfaces stand beside their PCI function; those on no PCI function have a row.
void ListAdapters(Lines& lines, const Json& adapters) {
    CTextTable table({"ADAPTER", "SLOT", "DRIVER", "NODE", "LINK", "PORTS", "NAME"});
    for (const Json& adapter : adapters) {
        const std::string address = Show(adapter, "address");
        if (adapter["kind"] == "network interface" && !address.empty()) {
            continue;
        }
        table.AddRow({address.empty() ? Show(adapter, "id") : address, Show(adapter, "slot"),
                      Show(adapter, "driver"), Show(adapter, "numa_node"), ShowLink(adapter),
                      ShowPorts(adapter), Show(adapter, "name")});
    }
    Append(lines, "ADAPTERS", table);
    CTextTable interfaces({"INTERFACE", "MAC ADDRESS", "STATE", "MBIT/S", "DRIVER", "ADAPTER"});
    for (const Json& adapter : adapters) {
        if (adapter["kind"] != "network interface") {
            continue;
        }
        for (const Json& interface : adapter["interfaces"]) {
            interfaces.AddRow({Show(interface, "name"), Show(interface, "mac_address"),
                               Show(interface, "state"), Show(interface, "speed_mbs"),
                               Show(interface, "driver"), Show(adapter, "address")});
        }
    }
    Append(lines, "NETWORK INTERFACES", interfaces);
}

void ListPartitions(Lines& lines, const Json& drives) {
    CTextTable table({"PARTITION", "SIZE", "FILE SYSTEM", "LABEL", "UUID"});
    for (const Json& drive : drives) {
        for (const Json& partition : drive["partitions"]) {
            const std::string label = Show(partition, "label");
            table.AddRow({Show(partition, "name"), ShowSize(partition, "size"),
                          Show(partition, "file_system"),
                          label.empty() ? Show(partition, "partition_name") : label,
                          Show(partition, "uuid")});
        }
    }
    Append(lines, "PARTITIONS", table);
}

void ListDrives(Lines& lines, const Json& drives) {
    CTextTable table({"DRIVE", "KIND", "SIZE", "BUS", "MODEL", "SERIAL NUMBER", "ADAPTER"});
    for (const Json& drive : drives) {
        table.AddRow({Show(drive, "name"), Show(drive, "kind"), ShowSize(drive, "size"),
                      Show(drive, "transport"),
                      Join({Show(drive, "vendor"), Show(drive, "model")}, " "),
                      Show(drive, "serial"), Show(drive, "host_address")});
        const std::string reason = Show(drive, "serial_reason");
        if (!reason.empty()) {
            table.AddNote("no serial number: " + reason);
        }
    }
    Append(lines, "DRIVES", table);
    ListPartitions(lines, drives);
}

void ListVolumes(Lines& lines, const Json& volumes) {
    CTextTable table({"VOLUME", "FILE SYSTEM", "SIZE", "FREE", "DRIVES", "MOUNT POINTS"});
    std::size_t hidden = 0;
    for (const Json& volume : volumes) {
        if (volume["kind"] == "pseudo" || volume["kind"] == "automount") {
            ++hidden;
            continue;
        }
        table.AddRow({Show(volume, "name"), Show(volume, "file_system"), ShowSize(volume, "size"),
                      ShowSize(volume, "free"), ShowList(volume["drives"]),
                      ShowMountPoints(volume)});
        const std::string reason = Show(volume, "size_reason");
        if (!reason.empty()) {
            table.AddNote("no size: " + reason);
        }
    }
    Append(lines, "VOLUMES", table);
    if (hidden != 0) {
        lines.push_back("and " + std::to_string(hidden) + " that the kernel makes up");
    }
}

void ListFirmware(Lines& lines, const Json& firmware) {
    CTextTable table({"FIRMWARE", "FIELD", "TEXT"});
    for (const auto& [group, fields] : firmware.items()) {
        if (!fields.is_object()) {
            continue;
        }
        for (const auto& [name, text] : fields.items()) {
            table.AddRow({group, name, Show(fields, name.c_str())});
        }
    }
    Append(lines, "FIRMWARE", table);
}

}  // namespace

std::vector<std::string> ListInventory(const Json& inventory, bool withReasons) {
    Lines lines;
    if (inventory.contains("firmware")) {
        ListFirmware(lines, inventory["firmware"]);
    }
    if (inventory.contains("slots")) {
        ListSlots(lines, inventory["slots"], withReasons);
    }
    if (inventory.contains("adapters")) {
        ListAdapters(lines, inventory["adapters"]);
    }
    if (inventory.contains("drives")) {
        ListDrives(lines, inventory["drives"]);
    }
    if (inventory.contains("volumes")) {
        ListVolumes(lines, inventory["volumes"]);
    }
    return lines;
}

}  // namespace inventory

// The tree of the report: slot, card, interface or drive, partition, volume.
#include <algorithm>
#include <map>
#include <set>

#include "inventory/report.h"
#include "inventory/report_text.h"
#include "inventory/text_layout.h"

namespace inventory {

namespace {

constexpr int kNoSlot = -1;

std::string Quoted(const std::string& text) {
    return text.empty() ? text : '"' + text + '"';
}

bool Holds(const Json& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

class CTreeBuilder {
public:
    CTreeBuilder(const Json& inventory, bool withReasons)
        : m_Inventory(inventory), m_WithReasons(withReasons) {}

    std::vector<TreeLine> Build();

private:
    struct Slot {
        std::set<std::string> Designations;
        std::vector<const Json*> Functions;
    };
    using Slots = std::map<int, Slot>;

    [[nodiscard]] Slots CollectSlots() const;
    void Add(std::size_t depth, std::string text) { m_Lines.push_back({depth, std::move(text)}); }
    void AddSlot(int number, const Slot& slot);
    void AddFunction(const Json& function, bool withDesignation);
    void AddPorts(const Json& adapter);
    void AddDrives(const std::string& address);
    void AddDrive(const Json& drive);
    void AddVolumesOn(std::size_t depth, const char* field, const std::string& device);
    void AddVolumesBesidePartitions(const Json& drive);
    void AddVolume(std::size_t depth, const Json& volume);
    void AddRest();

    const Json& m_Inventory;
    const bool m_WithReasons;
    std::set<std::string> m_Addresses;  // of the functions in the tree
    std::vector<TreeLine> m_Lines;
};

CTreeBuilder::Slots CTreeBuilder::CollectSlots() const {
    Slots slots;
    for (const Json& row : m_Inventory["slots"]["rows"]) {
        Slot& slot = slots[row["slot"].get<int>()];
        slot.Designations.insert(Show(row, "slot_designation"));
    }
    for (const Json& function : m_Inventory["slots"]["functions"]) {
        const int number = function["slot"].is_null() ? kNoSlot : function["slot"].get<int>();
        slots[number].Designations.insert(Show(function, "slot_designation"));
        slots[number].Functions.push_back(&function);
    }
    return slots;
}

void CTreeBuilder::AddVolume(std::size_t depth, const Json& volume) {
    std::vector<std::string> details = {Show(volume, "file_system"), ShowSize(volume, "size")};
    if (!volume["free"].is_null()) {
        details.push_back(ShowSize(volume, "free") + " free");
    }
    if (volume["drives"].size() > 1) {
        details.push_back("on " + ShowList(volume["drives"]));
    }
    Add(depth, Join({ShowMountPoints(volume), "(" + Join(details, ", ") + ")",
                     volume["device"].is_null() ? Show(volume, "name") : Show(volume, "device")},
                    "  "));
}

void CTreeBuilder::AddVolumesOn(std::size_t depth, const char* field, const std::string& device) {
    for (const Json& volume : m_Inventory["volumes"]) {
        if (Holds(volume[field], device)) {
            AddVolume(depth, volume);
        }
    }
}

// What lies on a partition of the drive stands there already.
void CTreeBuilder::AddVolumesBesidePartitions(const Json& drive) {
    for (const Json& volume : m_Inventory["volumes"]) {
        const Json& partitions = drive["partitions"];
        const bool isOnPartition =
            std::any_of(partitions.begin(), partitions.end(), [&](const Json& partition) {
                return Holds(volume["partitions"], Show(partition, "name"));
            });
        if (Holds(volume["drives"], Show(drive, "name")) && !isOnPartition) {
            AddVolume(3, volume);
        }
    }
}

void CTreeBuilder::AddDrive(const Json& drive) {
    const std::string serial = Show(drive, "serial");
    Add(2, Join({Show(drive, "name"), Show(drive, "kind"), ShowSize(drive, "size"),
                 Join({Show(drive, "vendor"), Show(drive, "model")}, " "),
                 serial.empty() ? "no serial number (" + Show(drive, "serial_reason") + ")"
                                : "serial number " + serial},
                "  "));
    for (const Json& partition : drive["partitions"]) {
        const std::string name = Show(partition, "name");
        Add(3, Join({name, ShowSize(partition, "size"), Show(partition, "file_system"),
                     Quoted(Show(partition, "label"))},
                    "  "));
        AddVolumesOn(4, "partitions", name);
    }
    AddVolumesBesidePartitions(drive);
}

void CTreeBuilder::AddDrives(const std::string& address) {
    for (const Json& drive : m_Inventory["drives"]) {
        if (Show(drive, "host_address") == address) {
            AddDrive(drive);
        }
    }
}

void CTreeBuilder::AddPorts(const Json& adapter) {
    for (const Json& interface : adapter["interfaces"]) {
        const std::string speed = Show(interface, "speed_mbs");
        Add(2, Join({Show(interface, "name"), Show(interface, "mac_address"),
                     Show(interface, "state"), speed.empty() ? "" : speed + " Mbit/s"},
                    "  "));
    }
    for (const Json& host : adapter["scsi_hosts"]) {
        const std::string wwn = Show(host, "node_wwn");
        Add(2, Join({"host" + Show(host, "number"), Show(host, "driver"),
                     wwn.empty() ? "" : "WWN " + wwn, Show(host, "port_state")},
                    "  "));
    }
}

void CTreeBuilder::AddFunction(const Json& function, bool withDesignation) {
    const std::string address = Show(function, "address");
    const Json& adapters = m_Inventory["adapters"];
    const auto adapter = std::find_if(adapters.begin(), adapters.end(), [&](const Json& each) {
        return each["kind"] == "pci function" && each["address"] == address;
    });
    const bool hasAdapter = adapter != adapters.end();
    std::string name = Join({Show(function, "vendor_name"), Show(function, "name")}, " ");
    if (name.empty()) {
        name = Show(function, "vendor_id") + ":" + Show(function, "device_id");
    }
    const std::string driver = hasAdapter ? Show(*adapter, "driver") : std::string();
    Add(1, Join({address, withDesignation ? Quoted(Show(function, "slot_designation")) : "", name,
                 driver.empty() ? "" : "driver " + driver,
                 hasAdapter ? ShowLink(*adapter) : std::string()},
                "  "));
    if (m_WithReasons) {
        Add(2, "why: " + Show(function, "reason"));
    }
    m_Addresses.insert(address);
    if (hasAdapter) {
        AddPorts(*adapter);
    }
    AddDrives(address);
}

void CTreeBuilder::AddSlot(int number, const Slot& slot) {
    const std::vector<std::string> names(slot.Designations.begin(), slot.Designations.end());
    const bool isOneSlot = number > 0;
    std::string title = number == 0 ? "On the board (slot 0)" : "No slot";
    if (isOneSlot) {
        title = "Slot " + std::to_string(number);
        for (const std::string& name : names) {
            title += name.empty() ? "" : "  " + Quoted(name);
        }
    }
    Add(0, title + (slot.Functions.empty() ? "  empty" : ""));
    for (const Json* const function : slot.Functions) {
        AddFunction(*function, !isOneSlot);
    }
}

// What hangs on no PCI function, or on one that is not in the list.
void CTreeBuilder::AddRest() {
    const std::size_t title = m_Lines.size();
    Add(0, "On no PCI function");
    for (const Json& adapter : m_Inventory["adapters"]) {
        if (adapter["kind"] == "network interface" && adapter["address"].is_null()) {
            Add(1, Join({Show(adapter, "name"), Show(adapter, "driver")}, "  "));
            AddPorts(adapter);
        }
    }
    const std::size_t drives = m_Lines.size();
    Add(1, "drives");
    for (const Json& drive : m_Inventory["drives"]) {
        if (!m_Addresses.contains(Show(drive, "host_address"))) {
            AddDrive(drive);
        }
    }
    if (m_Lines.size() == drives + 1) {
        m_Lines.pop_back();
    }
    for (const Json& volume : m_Inventory["volumes"]) {
        if (volume["drives"].empty() && volume["kind"] != "pseudo" &&
            volume["kind"] != "automount") {
            AddVolume(1, volume);
        }
    }
    if (m_Lines.size() == title + 1) {
        m_Lines.pop_back();
    }
}

std::vector<TreeLine> CTreeBuilder::Build() {
    const Slots slots = CollectSlots();
    for (const auto& [number, slot] : slots) {
        if (number > 0) {
            AddSlot(number, slot);
        }
    }
    for (const int number : {0, kNoSlot}) {
        const auto slot = slots.find(number);
        if (slot != slots.end() && !slot->second.Functions.empty()) {
            AddSlot(number, slot->second);
        }
    }
    AddRest();
    return m_Lines;
}

}  // namespace

std::vector<std::string> DrawInventory(const Json& inventory, bool withReasons) {
    return DrawTree(CTreeBuilder(inventory, withReasons).Build());
}

}  // namespace inventory

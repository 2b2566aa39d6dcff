#include "inventory/changes.h"

#include <algorithm>
#include <iterator>
#include <set>

#include "inventory/report_text.h"

namespace inventory {

namespace {

using Things = std::multiset<std::string>;

// The list in that field; empty for anything else.
const Json& ListOf(const Json& object, const char* field) {
    static const Json kNothing = Json::array();
    const auto found = object.is_object() ? object.find(field) : object.end();
    return object.is_object() && found != object.end() && found->is_array() ? *found : kNothing;
}

std::string TextOf(const Json& object, const char* field) {
    return object.is_object() ? Show(object, field) : std::string();
}

std::string WithDetails(const std::string& what, const std::vector<std::string>& details) {
    const std::string joined = Join(details, ", ");
    return joined.empty() ? what : what + " (" + joined + ")";
}

Things CollectThings(const Json& inventory) {
    Things things;
    static const Json kNothing = Json::object();
    const bool hasSlots = inventory.is_object() && inventory.contains("slots");
    for (const Json& function : ListOf(hasSlots ? inventory["slots"] : kNothing, "functions")) {
        things.insert(
            WithDetails("PCI function " + TextOf(function, "address"),
                        {TextOf(function, "vendor_id") + ":" + TextOf(function, "device_id")}));
    }
    for (const Json& adapter : ListOf(inventory, "adapters")) {
        if (TextOf(adapter, "kind") == "network interface") {
            for (const Json& interface : ListOf(adapter, "interfaces")) {
                things.insert(WithDetails("network interface " + TextOf(interface, "name"),
                                          {TextOf(interface, "mac_address")}));
            }
        }
    }
    for (const Json& drive : ListOf(inventory, "drives")) {
        const std::string serial = TextOf(drive, "serial");
        things.insert(
            WithDetails("drive " + TextOf(drive, "name"),
                        {TextOf(drive, "model"), serial.empty() ? "" : "serial number " + serial}));
    }
    for (const Json& volume : ListOf(inventory, "volumes")) {
        const std::string kind = TextOf(volume, "kind");
        if (kind != "pseudo" && kind != "automount") {
            things.insert(
                WithDetails("volume " + TextOf(volume, "name"), {TextOf(volume, "file_system")}));
        }
    }
    return things;
}

void AddMissing(const Things& from, const Things& in, bool hasCome, std::vector<Change>& changes) {
    std::vector<std::string> missing;
    std::set_difference(from.begin(), from.end(), in.begin(), in.end(),
                        std::back_inserter(missing));
    for (std::string& what : missing) {
        changes.push_back({hasCome, std::move(what)});
    }
}

}  // namespace

std::vector<Change> CompareInventories(const Json& before, const Json& after) {
    const Things old = CollectThings(before);
    const Things now = CollectThings(after);
    std::vector<Change> changes;
    AddMissing(old, now, false, changes);
    AddMissing(now, old, true, changes);
    return changes;
}

}  // namespace inventory

#include "inventory/report_text.h"

#include <cstdio>

namespace inventory {

namespace {

// "2.5 GT/s x1"
std::string ShowSpeed(const Json& link) {
    constexpr double kMegaInGiga = 1000;
    std::string shown;
    if (link["speed_mts"].is_number()) {
        char speed[32];
        (void)std::snprintf(speed, sizeof speed, "%g GT/s",
                            link["speed_mts"].get<double>() / kMegaInGiga);
        shown = speed;
    }
    const std::string lanes = Show(link, "lanes");
    return Join({shown, lanes.empty() ? "" : "x" + lanes}, " ");
}

}  // namespace

std::string Show(const Json& object, const char* field) {
    const auto found = object.find(field);
    if (found == object.end() || found->is_null()) {
        return {};
    }
    return found->is_string() ? found->get<std::string>() : found->dump();
}

std::string ShowSize(const Json& object, const char* field) {
    constexpr double kStep = 1024;
    constexpr const char* kUnits[] = {"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    const auto found = object.find(field);
    if (found == object.end() || !found->is_number()) {
        return {};
    }
    double size = found->get<double>();
    std::size_t unit = 0;
    while (size >= kStep && unit + 1 < std::size(kUnits)) {
        size /= kStep;
        ++unit;
    }
    char text[32];
    (void)std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", size, kUnits[unit]);
    return text;
}

std::string ShowLink(const Json& adapter) {
    const std::string now = ShowSpeed(adapter["link"]);
    const std::string most = ShowSpeed(adapter["link_max"]);
    return most.empty() || most == now ? now : Join({now.empty() ? "down" : now, most}, " of ");
}

std::string Join(const std::vector<std::string>& texts, const char* separator) {
    std::string joined;
    for (const std::string& text : texts) {
        if (!text.empty()) {
            joined += joined.empty() ? text : separator + text;
        }
    }
    return joined;
}

std::string ShowMountPoints(const Json& volume) {
    std::vector<std::string> paths;
    for (const Json& point : volume["mount_points"]) {
        paths.push_back(Show(point, "path") + (point["covered"] == true ? " (covered)" : ""));
    }
    return Join(paths, " ");
}

std::string ShowList(const Json& list) {
    std::vector<std::string> names;
    for (const Json& item : list) {
        names.push_back(item.is_string() ? item.get<std::string>() : Show(item, "name"));
    }
    return Join(names, " ");
}

}  // namespace inventory

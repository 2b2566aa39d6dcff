#include "hardware/pci_names.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "base/paths.h"

namespace {

// "vvvv:dddd", as sections are named.
std::string NumberPair(std::uint16_t vendor, std::uint16_t device) {
    std::array<char, sizeof "ffff:ffff"> text{};
    std::snprintf(text.data(), text.size(), "%04x:%04x", vendor, device);
    return text.data();
}

void FillFrom(PciName& name, const CPciIds::CName& found) {
    if (name.Source == PciNameSource::kNone && found) {
        name = {std::string(*found), PciNameSource::kPciIds};
    }
}

// What a name that says nothing leaves open.
bool IsVague(const char* className) {
    return std::strcmp(className, "Unknown") == 0 || std::strcmp(className, "Other") == 0;
}

std::string ClassName(const CPciCommonConfigHeader& header) {
    const char* const subClass = CPciCommonConfigHeader::GetPciSubClassDescription(header);
    return IsVague(subClass) ? CPciCommonConfigHeader::GetPciBaseClassDescription(header)
                             : subClass;
}

}  // namespace

CPciNameReader::CPciNameReader() : m_Ids(CPciIds::System()) {
    (void)m_Ini.Open(paths::kAdapterNames, true);
}

PciName CPciNameReader::ReadIni(std::initializer_list<std::string> sections, const char* key) {
    PciName name;
    for (const std::string& section : sections) {
        if (m_Ini.IsOpen() && m_Ini.GetString(name.Text, section.c_str(), key, "") &&
            !name.Text.empty()) {
            name.Source = PciNameSource::kIniFile;
            std::replace_if(
                name.Text.begin(), name.Text.end(),
                [](unsigned char byte) { return byte < ' ' || byte == 0x7F; }, ' ');
            return name;
        }
    }
    return name;
}

PciNames CPciNameReader::Read(const CPciCommonConfigHeader& header,
                              const std::optional<PciSubsystemId>& subsystem) {
    const std::uint16_t vendor = header.m_VendorId;
    const std::uint16_t device = header.m_DeviceId;
    const std::string function = NumberPair(vendor, device);
    const std::string card =
        subsystem ? function + ":" + NumberPair(subsystem->Vendor, subsystem->Device) : function;
    PciNames names;
    names.Device = ReadIni({card, function}, "Name");
    names.Vendor = ReadIni({card, function, function.substr(0, 4)}, "Vendor");
    FillFrom(names.Device, m_Ids.FindDevice(vendor, device));
    FillFrom(names.Vendor, m_Ids.FindVendor(vendor));
    if (subsystem) {
        names.SubsystemVendor = ReadIni({card}, "SubsystemVendor");
        FillFrom(names.SubsystemVendor, m_Ids.FindVendor(subsystem->Vendor));
        names.Subsystem = ReadIni({card}, "Subsystem");
        FillFrom(names.Subsystem,
                 m_Ids.FindSubsystem(vendor, device, subsystem->Vendor, subsystem->Device));
        // A card that bears the numbers of its device is not listed again.
        if (*subsystem == PciSubsystemId{vendor, device}) {
            FillFrom(names.Subsystem, m_Ids.FindDevice(vendor, device));
        }
    }
    FillFrom(names.Interface, m_Ids.FindInterface(header.m_BaseClass, header.m_SubClass,
                                                  header.m_ProgrammingInterface));
    if (names.Device.Source == PciNameSource::kNone) {
        names.Device = {ClassName(header), PciNameSource::kClassName};
    }
    return names;
}

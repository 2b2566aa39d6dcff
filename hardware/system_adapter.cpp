#include "hardware/system_adapter.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <iterator>

const CSystemAdapter CSystemAdapter::kNone;

std::string CSystemAdapter::MakeDeviceId(const PciIdentity& identity, const CPciAddress& address) {
    std::array<char, sizeof "PCI\\VEN_ffff&DEV_ffff&SUBSYS_ffffffff&REV_ff\\"> text{};
    if (identity.Subsystem) {
        std::snprintf(text.data(), text.size(), "PCI\\VEN_%04X&DEV_%04X&SUBSYS_%04X%04X&REV_%02X\\",
                      identity.VendorId, identity.DeviceId, identity.Subsystem->Device,
                      identity.Subsystem->Vendor, identity.Revision);
    } else {
        std::snprintf(text.data(), text.size(), "PCI\\VEN_%04X&DEV_%04X&REV_%02X\\",
                      identity.VendorId, identity.DeviceId, identity.Revision);
    }
    std::string place = address.ToString();
    std::transform(place.begin(), place.end(), place.begin(),
                   [](unsigned char byte) { return static_cast<char>(std::toupper(byte)); });
    return text.data() + place;
}

std::vector<ResourceDescriptor> CSystemAdapter::GetResources(ResourceKind kind) const {
    std::vector<ResourceDescriptor> found;
    std::copy_if(m_Resources.begin(), m_Resources.end(), std::back_inserter(found),
                 [kind](const ResourceDescriptor& resource) { return resource.Kind == kind; });
    return found;
}

std::optional<std::uint64_t> CSystemAdapter::GetNodeWwn() const {
    const auto found = std::find_if(m_ScsiHosts.begin(), m_ScsiHosts.end(),
                                    [](const ScsiHost& host) { return host.NodeWwn.has_value(); });
    return found != m_ScsiHosts.end() ? found->NodeWwn : std::nullopt;
}

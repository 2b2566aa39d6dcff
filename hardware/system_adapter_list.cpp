#include "hardware/system_adapter_list.h"

#include <strings.h>

#include <algorithm>

#include "trace/debug.h"

bool CSystemAdapterList::GetAdapter(CSystemAdapter& adapter, const CPciAddress& address) const {
    const auto found = std::find_if(begin(), end(), [&](const CSystemAdapter& each) {
        return each.IsPciFunction() && each.m_Address == address && address.IsValid();
    });
    if (found == end()) {
        return false;
    }
    adapter = *found;
    return true;
}

bool CSystemAdapterList::FindAdapter(CSystemAdapter& adapter, const char* deviceId) const {
    const char* const wanted = deviceId != nullptr ? deviceId : "";
    const auto found =
        *wanted == '\0' ? end() : std::find_if(begin(), end(), [&](const auto& each) {
            return strcasecmp(each.m_DeviceId.c_str(), wanted) == 0;
        });
    if (found == end()) {
        Debug.Print(2, "\nCSystemAdapterList  : No adapter found for device ID \"%s\"!", wanted);
        return false;
    }
    Debug.Print(2, "\nCSystemAdapterList  : Found adapter with device ID \"%s\": %s", wanted,
                found->m_Name.Text.c_str());
    adapter = *found;
    return true;
}

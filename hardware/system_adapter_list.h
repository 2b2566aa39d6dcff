// The adapters of a scan, and how one of them is found.
#pragma once

#include <vector>

#include "base/export.h"
#include "hardware/system_adapter.h"

class MORLA_API CSystemAdapterList : public std::vector<CSystemAdapter> {
public:
    // Both copy the adapter out; false, with `adapter` unchanged, when there is none.

    // The PCI function at that address. The invalid address finds nothing.
    [[nodiscard]] bool GetAdapter(CSystemAdapter& adapter, const CPciAddress& address) const;
    // The first adapter whose device-ID text equals this one, ignoring the case of ASCII letters.
    // A null or empty text finds nothing.
    [[nodiscard]] bool FindAdapter(CSystemAdapter& adapter, const char* deviceId) const;
};

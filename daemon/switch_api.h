// The daemon's handle on the switch library, "libswitch.so", and the switch object in it.
#pragma once

#include <cstdint>

#include "morla/switch.h"

// Used from the main thread only. Closes the library, if it is still open, when it goes.
class CSwitchApi {
public:
    CSwitchApi() = default;
    CSwitchApi(const CSwitchApi&) = delete;
    CSwitchApi& operator=(const CSwitchApi&) = delete;
    ~CSwitchApi();

    // Opens the library, unless it is open, and asks it for the switch object. False when there is
    // none, or when an exception left the library.
    [[nodiscard]] bool LoadSwitch();
    // Forward to the switch object. False also without one, or when an exception left the library;
    // none reaches the caller.
    [[nodiscard]] bool LoadModules(const _ExtensionModuleLoaderConfig& config);
    bool UnloadModules(std::uint32_t reserved);
    // Ends the switch object's life with "SW_Release" and closes the library.
    void Release();

    // The switch object, which the library owns; null when there is none. Exceptions from its
    // operations are not caught.
    [[nodiscard]] SwitchInterface* Interface() const { return pInterface; }
    // The errno number of the last failure to open the library.
    [[nodiscard]] std::int32_t LastError() const { return nLastError; }

private:
    // As SW_QueryInterface_Function, but the result is read as the byte that it is: a library that
    // was not written in C++ may leave anything in the bits beside and above it.
    using QueryInterfaceFunction = unsigned char (*)(std::uint32_t selector,
                                                     SwitchInterface** object);

    bool QueryInterface();
    void CloseLibrary();

    SW_AddRef_Function pfnAddRef = nullptr;  // kept, never called
    SW_Release_Function pfnRelease = nullptr;
    QueryInterfaceFunction pfnQueryInterface = nullptr;
    void* hLibrary = nullptr;  // from dlopen
    SwitchInterface* pInterface = nullptr;
    std::int32_t nLastError = 0;
};

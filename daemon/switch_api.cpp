#include "daemon/switch_api.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <link.h>

#include <cerrno>

#include "base/cancellation.h"
#include "daemon/distrust.h"
#include "daemon/guarded_trace.h"

namespace {

constexpr char kLibraryName[] = "libswitch.so";  // found through the ordinary search path
constexpr std::uint32_t kSelectSwitchObject = 0;

// Whoever can write the library runs in the daemon. By name alone the loader does not tell which
// file it will take, so this comes when it is loaded, and cannot refuse it.
void WarnOfLibraryWriters(void* library) {
    link_map* map = nullptr;
    if (dlinfo(library, RTLD_DI_LINKMAP, &map) == 0) {
        WarnOfWriters("switch library", map->l_name, PathKind::kRegularFile);
    }
}

}  // namespace

CSwitchApi::~CSwitchApi() {
    const CCancellationHold hold;
    CloseLibrary();
}

bool CSwitchApi::LoadSwitch() {
    if (hLibrary == nullptr) {
        hLibrary = dlopen(kLibraryName, RTLD_NOW | RTLD_GLOBAL);
        const int error = errno;
        if (hLibrary == nullptr) {
            TraceIfActive(1, "LoadLibrary: ## ERROR:  %s\n", dlerror());
            nLastError = error;
            return pInterface != nullptr;
        }
        WarnOfLibraryWriters(hLibrary);
    }
    // A symbol that is missing leaves its pointer null and is not reported.
    pfnAddRef = reinterpret_cast<SW_AddRef_Function>(dlsym(hLibrary, MORLA_SWITCH_ADD_REF));
    pfnRelease = reinterpret_cast<SW_Release_Function>(dlsym(hLibrary, MORLA_SWITCH_RELEASE));
    pfnQueryInterface =
        reinterpret_cast<QueryInterfaceFunction>(dlsym(hLibrary, MORLA_SWITCH_QUERY_INTERFACE));
    if (pfnQueryInterface != nullptr && !QueryInterface()) {
        pInterface = nullptr;
    }
    return pInterface != nullptr;
}

bool CSwitchApi::QueryInterface() {
    try {
        return pfnQueryInterface(kSelectSwitchObject, &pInterface) != 0;
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        TraceIfActive(1, "\nSWITCH DLL - Exception during QueryInterface");
        return false;
    }
}

bool CSwitchApi::LoadModules(const _ExtensionModuleLoaderConfig& config) {
    // Deliberate: bit 0 is set in the value shown, so that a start without "-rescan" shows 1 too.
    TraceIfActive(3, "\nSWITCH API          : Loading modules, force rescan = %d",
                  static_cast<int>(config.Flags | kLoaderFlagForceRescan));
    if (pInterface != nullptr) {
        try {
            return pInterface->LoadModules(config);
        } catch (abi::__forced_unwind&) {
            throw;
        } catch (...) {
            TraceIfActive(1, "\nSWITCH DLL - Exception during LoadModules");
        }
    }
    TraceIfActive(1, "\n\nSWITCH API          : ## ERROR! Loading modules FAILED!\n");
    return false;
}

bool CSwitchApi::UnloadModules(std::uint32_t reserved) {
    TraceIfActive(3, "\nSWITCH API          : Unloading modules...");
    if (pInterface != nullptr) {
        try {
            return pInterface->UnloadModules(reserved);
        } catch (abi::__forced_unwind&) {
            throw;
        } catch (...) {
            TraceIfActive(1, "\nSWITCH DLL - Exception during UnloadModules");
        }
    }
    TraceIfActive(1, "\n\nSWITCH API          : ## ERROR! Unloading modules FAILED!\n");
    return false;
}

// The object is given up first and never deleted here: "SW_Release" ends its life.
void CSwitchApi::Release() {
    pInterface = nullptr;
    if (pfnRelease != nullptr) {
        try {
            pfnRelease();
        } catch (abi::__forced_unwind&) {
            throw;
        } catch (...) {
            TraceIfActive(1, "\nSWITCH DLL - Exception during Release");
        }
    }
    CloseLibrary();
    pfnAddRef = nullptr;
    pfnRelease = nullptr;
    pfnQueryInterface = nullptr;
}

void CSwitchApi::CloseLibrary() {
    if (hLibrary != nullptr) {
        dlclose(hLibrary);
        hLibrary = nullptr;
    }
}
